// Memory straight from the system.
#pragma once

#include <cstddef>

namespace OMB {

/// Zeroed pages for `size` bytes, huge ones where the system has them; null on failure. Release
/// with releasePages and the same size.
void* allocatePages(std::size_t size) noexcept;
void releasePages(void* block, std::size_t size) noexcept;

/// Makes a part of such a block zero by giving back its pages; of one that begins or ends inside a page,
/// which has to be zero there already, the whole pages.
void discardPages(void* part, std::size_t size) noexcept;

}  // namespace OMB
