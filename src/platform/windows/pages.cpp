#include "platform/pages.h"

#include <cstdint>

#include "platform/windows/windows_calls.h"

namespace OMB {

// Huge pages would need a privilege that few users have.
void* allocatePages(std::size_t size) noexcept {
  return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void releasePages(void* block, std::size_t /*size*/) noexcept {
  VirtualFree(block, 0, MEM_RELEASE);
}

void discardPages(void* part, std::size_t size) noexcept {
  constexpr std::uintptr_t kPage = 4096;
  const std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(part) + kPage - 1) & ~(kPage - 1);
  const std::uintptr_t last = (reinterpret_cast<std::uintptr_t>(part) + size) & ~(kPage - 1);
  if (first >= last) return;
  void* const pages = reinterpret_cast<void*>(first);
  if (VirtualFree(pages, last - first, MEM_DECOMMIT) == 0) return;
  VirtualAlloc(pages, last - first, MEM_COMMIT, PAGE_READWRITE);
}

}  // namespace OMB
