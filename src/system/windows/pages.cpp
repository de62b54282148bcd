#include "system/pages.h"

#include "system/windows/windows_calls.h"

namespace OMB::system {

// Huge pages would need a privilege that few users have.
void* allocatePages(std::size_t size) noexcept {
  return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void releasePages(void* block, std::size_t /*size*/) noexcept {
  VirtualFree(block, 0, MEM_RELEASE);
}

}  // namespace OMB::system
