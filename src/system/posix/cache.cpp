#include "system/cache.h"

#include <charconv>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace OMB::system {
namespace {

// As in "8192K", without streams, which allocate. The C library's sysconf tells the sum of all
// caches of a package on some processors, of which a core uses one.
std::size_t readCacheSize(int index) noexcept {
  char path[64];
  std::snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu0/cache/index%d/size", index);
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  char text[24];
  const ssize_t length = read(file, text, sizeof text);
  close(file);
  std::size_t size = 0;
  const auto [end, error] = std::from_chars(text, text + (length > 0 ? length : 0), size);
  const bool isInKib = error == std::errc() && end != text + length && *end == 'K';
  return isInKib ? size << 10 : 0;
}

std::size_t readLastCacheSize() noexcept {
  std::size_t last = 0;
  for (int index = 0; index < 16; ++index) {
    const std::size_t size = readCacheSize(index);
    if (size == 0) break;
    last = size;  // they stand in the order of their levels
  }
  return last;
}

}  // namespace

std::size_t lastCacheSize() noexcept {
  static const std::size_t size = readLastCacheSize();
  return size;
}

}  // namespace OMB::system
