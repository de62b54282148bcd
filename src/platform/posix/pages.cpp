#include "platform/pages.h"

#include <cstdint>
#include <sys/mman.h>

namespace OMB {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

void unmap(char* first, const char* last) noexcept {
  if (first != last) munmap(first, static_cast<std::size_t>(last - first));
}

constexpr std::size_t kPage = 4096;

std::size_t wholePages(std::size_t size) noexcept {
  return (size + kPage - 1) & ~(kPage - 1);
}

}  // namespace

void* allocatePages(std::size_t size) noexcept {
  if (size > SIZE_MAX - 2 * kHugePage) return nullptr;
  const std::size_t length = wholePages(size);
  const std::size_t mapped = length + kHugePage;
  void* start = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED) return nullptr;

  // Only whole aligned stretches can become huge pages: start on one and give back both ends.
  char* const first = static_cast<char*>(start);
  const std::size_t skip =
      (kHugePage - reinterpret_cast<std::uintptr_t>(start) % kHugePage) % kHugePage;
  char* const block = first + skip;
  unmap(first, block);
  unmap(block + length, first + mapped);
  madvise(block, length, MADV_HUGEPAGE);  // a system without them serves small pages
  return block;
}

void releasePages(void* block, std::size_t size) noexcept {
  munmap(block, wholePages(size));
}

void discardPages(void* part, std::size_t size) noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(part);
  const std::size_t first = wholePages(address);
  const std::size_t last = (address + size) & ~(kPage - 1);
  if (first < last)
    madvise(static_cast<char*>(part) + (first - address), last - first, MADV_DONTNEED);
}

}  // namespace OMB
