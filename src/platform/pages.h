// Memory straight from the system.
#pragma once

#include <cstddef>

namespace OMB {

/// Zeroed pages for `size` bytes, huge ones where the system has them; null on failure. Release
/// with releasePages and the same size.
void* allocatePages(std::size_t size) noexcept;
void releasePages(void* block, std::size_t size) noexcept;

/// Gives back the whole pages of a part of such a block that is zero already, where the system lets
/// them come back as zeroes at the next use.
void discardPages(void* part, std::size_t size) noexcept;

}  // namespace OMB
