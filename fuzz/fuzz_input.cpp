#include "fuzz_input.h"

#include <cstdio>
#include <sys/mman.h>
#include <unistd.h>

namespace OMB::fuzz {

void fail(const char* file, int line, const char* condition) {
  std::fprintf(stderr, "%s:%d: not so: %s\n", file, line, condition);
  std::abort();
}

ByteVector Input::bytes(std::size_t count) {
  ByteVector taken(count);
  const auto end = left.begin() + static_cast<std::ptrdiff_t>(std::min(count, left.size()));
  std::copy(left.begin(), end, taken.begin());
  left.erase(left.begin(), end);
  return taken;
}

const std::string& fileOf(const ByteVector& bytes, int* descriptor) {
  static const int file = memfd_create("fuzz", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  REQUIRE(ftruncate(file, 0) == 0);
  REQUIRE(pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  if (descriptor != nullptr) *descriptor = file;
  return path;
}

}  // namespace OMB::fuzz
