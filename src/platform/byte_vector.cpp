#include "ombrel/platform/byte_vector.h"

#include <cstdlib>

#include "system/pages.h"

namespace OMB {
namespace {

// Below this the C library's heap is as fast, and a mapping of its own would waste most of a page
// table.
constexpr std::size_t kLargeBlock = std::size_t{4} << 20;

}  // namespace

void* allocateBytes(std::size_t size) {
  void* block =
      size < kLargeBlock ? std::calloc(size + (size == 0), 1) : system::allocatePages(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void releaseBytes(void* block, std::size_t size) noexcept {
  if (size < kLargeBlock) return std::free(block);
  if (block != nullptr) system::releasePages(block, size);
}

}  // namespace OMB
