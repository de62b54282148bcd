// What the targets share: the input cut into arguments, a file without a disk, and the verdict.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "ombrel/platform/byte_vector.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the process when what has to hold does not.
#define REQUIRE(condition)                                                         \
  do {                                                                             \
    if (!(condition)) {                                                            \
      std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                \
    }                                                                              \
  } while (false)

namespace OMB::fuzz {

/// Takes arguments off the front of an input; an input that is too short goes on as zeros.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  template <typename T>
  T take() {
    T value{};
    const std::size_t count = std::min(sizeof(T), size_);
    if (count != 0) std::memcpy(&value, data_, count);
    skip(count);
    return value;
  }
  ByteVector bytes(std::size_t count) {
    ByteVector result(count);
    const std::size_t there = std::min(count, size_);
    std::copy_n(data_, there, result.begin());
    skip(there);
    return result;
  }
  std::string text(std::size_t count) {
    const ByteVector taken = bytes(std::min(count, size_));
    return {taken.begin(), taken.end()};
  }
  std::size_t left() const { return size_; }

 private:
  void skip(std::size_t count) {
    data_ += count;
    size_ -= count;
  }

  const std::uint8_t* data_;
  std::size_t size_;
};

/// A file in memory.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)) { REQUIRE(descriptor_ >= 0); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(descriptor_); }

  void write(const void* data, std::size_t size) const {
    REQUIRE(ftruncate(descriptor_, 0) == 0);
    REQUIRE(pwrite(descriptor_, data, size, 0) == static_cast<ssize_t>(size));
  }
  int descriptor() const { return descriptor_; }
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

}  // namespace OMB::fuzz
