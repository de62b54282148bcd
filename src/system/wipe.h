// Secrets that end.
#pragma once

#include <cstddef>

namespace OMB::system {

/// Zeros that no compiler leaves out.
void wipe(void* block, std::size_t size) noexcept;

}  // namespace OMB::system
