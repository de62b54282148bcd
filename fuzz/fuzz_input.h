// What the targets share: the input cut into arguments, a file without a disk, and the verdict.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "ombrel/platform/byte_vector.h"

/// Ends the process when what has to hold does not.
#define REQUIRE(condition) \
  if (!(condition)) OMB::fuzz::fail(__FILE__, __LINE__, #condition)

namespace OMB::fuzz {

[[noreturn]] void fail(const char* file, int line, const char* condition);

/// Takes arguments off the front of an input; an input that is too short goes on as zeros.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : left(data, data + size) {}

  template <typename T>
  T take() {
    const ByteVector taken = bytes(sizeof(T));
    T value{};
    std::memcpy(&value, taken.data(), sizeof(T));
    return value;
  }
  ByteVector bytes(std::size_t count);
  ByteVector rest() const { return left; }

 private:
  ByteVector left;
};

/// A file in memory, with this content until the next call. Its path, and its descriptor if asked.
const std::string& fileOf(const ByteVector& bytes, int* descriptor = nullptr);

/// The target: runs one input.
void run(Input input);

}  // namespace OMB::fuzz
