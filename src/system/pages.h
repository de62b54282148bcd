// Memory straight from the system.
#pragma once

#include <cstddef>

namespace OMB::system {

/// Zeroed pages for `size` bytes, huge ones where the system has them and where they pay; null on
/// failure. Release with releasePages and the same size.
void* allocatePages(std::size_t size) noexcept;
void releasePages(void* block, std::size_t size) noexcept;

}  // namespace OMB::system
