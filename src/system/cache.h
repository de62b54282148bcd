// The caches of the processor.
#pragma once

#include <cstddef>

namespace OMB::system {

/// Bytes of the last cache before the memory, as one core sees it; 0 where the system does not
/// tell. Threads: calls may overlap; the system is asked once.
std::size_t lastCacheSize() noexcept;

}  // namespace OMB::system
