// What the targets share: the input cut into arguments, a file without a disk, and the verdict.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "ombrel/platform/byte_vector.h"

/// Ends the process when what has to hold does not.
#define REQUIRE(condition) \
  if (!(condition)) OMB::fuzz::fail(__FILE__, __LINE__, #condition)

namespace OMB::fuzz {

[[noreturn]] void fail(const char* file, int line, const char* condition);

/// Takes arguments off the front of an input; an input that is too short goes on as zeros.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, data + size) {}

  template <typename T>
  T take() {
    const ByteVector taken = bytes(sizeof(T));
    T value{};
    std::memcpy(&value, taken.data(), sizeof(T));
    return value;
  }
  ByteVector bytes(std::size_t count) {
    ByteVector taken(count);
    const auto end = rest_.begin() + static_cast<std::ptrdiff_t>(std::min(count, rest_.size()));
    std::copy(rest_.begin(), end, taken.begin());
    rest_.erase(rest_.begin(), end);
    return taken;
  }
  ByteVector rest() const { return rest_; }

 private:
  ByteVector rest_;
};

/// A file in memory, with this content.
inline const std::string& fileOf(const ByteVector& bytes, int* descriptor = nullptr) {
  static const int file = memfd_create("fuzz", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  REQUIRE(ftruncate(file, 0) == 0);
  REQUIRE(pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  if (descriptor != nullptr) *descriptor = file;
  return path;
}

/// The target: runs one input.
void run(Input input);

}  // namespace OMB::fuzz
