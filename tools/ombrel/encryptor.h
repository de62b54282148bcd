// Encryption as the backend decrypts, over the system's cryptography.
#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "ombrel/platform/byte_vector.h"

namespace OMB::tool {

/// AES-128 in CBC mode under the build's model IV, with 1 to 16 trailing bytes that each hold their
/// count. What a call returns stays as it is until the next. Throws ToolError.
class Encryptor {
 public:
  explicit Encryptor(const ByteVector& key);
  ~Encryptor();
  Encryptor(const Encryptor&) = delete;
  Encryptor& operator=(const Encryptor&) = delete;

  std::span<const std::byte> update(std::span<const unsigned char> plain);
  std::span<const std::byte> finish();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts;
};

}  // namespace OMB::tool
