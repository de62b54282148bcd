#include "system/pages.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace OMB::system {
namespace {

constexpr std::size_t kUsualHugePage = std::size_t{2} << 20;
constexpr int kPopulateWrite = 23;  // MADV_POPULATE_WRITE, which headers have since Linux 5.14

// Without streams, which allocate.
std::size_t readHugePageSize() noexcept {
  std::size_t size = 0;
  const int file = open("/sys/kernel/mm/transparent_hugepage/hpage_pmd_size", O_RDONLY | O_CLOEXEC);
  if (file >= 0) {
    char digits[24];
    const ssize_t length = read(file, digits, sizeof digits);
    close(file);
    if (length > 0) std::from_chars(digits, digits + length, size);
  }
  return std::has_single_bit(size) && size >= kUsualHugePage ? size : kUsualHugePage;
}

// 2 MiB where small pages have 4 KiB, 32 and 512 MiB where they have 16 and 64.
std::size_t hugePageSize() noexcept {
  static const std::size_t size = readHugePageSize();
  return size;
}

void unmap(char* first, const char* last) noexcept {
  if (first != last) munmap(first, static_cast<std::size_t>(last - first));
}

// 4 KiB here, 16 or 64 elsewhere; a power of two everywhere.
std::size_t wholePages(std::size_t size) noexcept {
  const std::size_t last = static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) - 1;
  return (size + last) & ~last;
}

// Of this thread: what others do meanwhile does not count.
std::int64_t nanosecondsSpent() noexcept {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

std::int64_t touch(char* block, std::size_t length, std::size_t step) noexcept {
  const std::int64_t start = nanosecondsSpent();
  for (std::size_t i = 0; i < length; i += step) static_cast<volatile char*>(block)[i] = 0;
  return nanosecondsSpent() - start;
}

// Nanoseconds for 2 MiB in small pages, by some that are taken for it. 0 if there are none.
std::int64_t priceSmallPages() noexcept {
  const std::size_t page = wholePages(1);
  const std::size_t length = 64 * page;
  void* const sample =
      mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (sample == MAP_FAILED) return 0;
  madvise(sample, length, MADV_NOHUGEPAGE);
  const std::int64_t spent = touch(static_cast<char*>(sample), length, page);
  munmap(sample, length);
  return spent * static_cast<std::int64_t>(kUsualHugePage) / static_cast<std::int64_t>(length);
}

// Takes huge pages until they have cost as much as small ones would for all of the block, and
// leaves the rest to those. On a virtual machine whose host takes free memory back, a huge page
// that the host has to find anew costs many times as much as small ones, which come from memory in
// use. So a block costs about twice what it has to at worst, and what was paid for is there for the
// next one.
void takeHugePages(char* block, std::size_t length, std::size_t hugePage) noexcept {
  static const std::int64_t smallPages = priceSmallPages();
  std::int64_t left = static_cast<std::int64_t>(length / kUsualHugePage + 1) * smallPages;
  madvise(block, length, MADV_HUGEPAGE);  // a system without them serves small pages
  for (std::size_t taken = 0; taken < length;) {
    left -= touch(block + taken, 1, 1);
    taken += std::min(hugePage, length - taken);
    if (left < 0) {
      madvise(block + taken, length - taken, MADV_NOHUGEPAGE);
      madvise(block + taken, length - taken, kPopulateWrite);  // cheaper than one by one
      return;
    }
  }
}

}  // namespace

void* allocatePages(std::size_t size) noexcept {
  const std::size_t hugePage = hugePageSize();
  if (size > SIZE_MAX / 2 - hugePage) return nullptr;
  const std::size_t length = wholePages(size);
  // Only whole aligned stretches can become huge pages: start on one and give back both ends. What
  // is smaller than one needs no place for that.
  const std::size_t spare = length < hugePage ? 0 : hugePage;
  const std::size_t mapped = length + spare;
  void* start = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED) return nullptr;
  // Models are of this size, and keys open them: neither is to end up in a core file.
  madvise(start, mapped, MADV_DONTDUMP);
  if (spare == 0) return start;

  char* const first = static_cast<char*>(start);
  const std::size_t skip =
      (hugePage - reinterpret_cast<std::uintptr_t>(start) % hugePage) % hugePage;
  char* const block = first + skip;
  unmap(first, block);
  unmap(block + length, first + mapped);
  takeHugePages(block, length, hugePage);
  return block;
}

void releasePages(void* block, std::size_t size) noexcept {
  munmap(block, wholePages(size));
}

}  // namespace OMB::system
