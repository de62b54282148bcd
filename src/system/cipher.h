// AES in CBC mode.
#pragma once

#include <cstdint>
#include <memory>

#include "system/status.h"

namespace OMB::system {

/// One decryption, in the steps that the system makes of it: each is called once, in the order in
/// which they stand here, and only while none has failed. What was made ends with the object, the
/// provider first, then the key, then the memory that it lives in, then the copy of the IV.
class Cipher {
 public:
  Cipher() noexcept;
  ~Cipher();
  Cipher(const Cipher&) = delete;
  Cipher& operator=(const Cipher&) = delete;

  Status open();
  /// The length of the object that holds the key, for allocateObject.
  Status getObjectLength();
  /// False when there is no memory, as below.
  bool allocateObject();
  Status getBlockLength(std::uint32_t& length);
  /// Keeps a copy of as many bytes as a block has.
  bool copyIv(const unsigned char* iv);
  Status setChainingMode();
  Status generateKey(const unsigned char* key, std::uint32_t size);

  /// With a null `output` only stores how many bytes it takes; so this one is called twice. The
  /// output may be the input. Nothing is taken off the plaintext's end.
  Status decrypt(const unsigned char* input, std::uint32_t size, unsigned char* output,
                 std::uint32_t outputSize, std::uint32_t& resultSize);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts;
};

}  // namespace OMB::system
