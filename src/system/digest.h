// SHA-256.
#pragma once

#include <cstdint>
#include <memory>

#include "system/status.h"

namespace OMB::system {

/// One digest, in the steps that the system makes of it: each is called in the order in which they
/// stand here, and only while none has failed. What was made ends with the object, the provider
/// first, then the hash, then the memory that it lives in, then the digest.
class Digest {
 public:
  Digest() noexcept;
  ~Digest();
  Digest(const Digest&) = delete;
  Digest& operator=(const Digest&) = delete;

  Status open();
  /// The length of the object that holds the hash, for allocateObject.
  Status getObjectLength();
  /// False when there is no memory, as below.
  bool allocateObject();
  Status getDigestLength(std::uint32_t& length);
  bool allocateDigest();
  Status create();
  /// May be called any number of times.
  Status add(const unsigned char* input, std::uint32_t size);
  Status finish();

  /// As many bytes as getDigestLength stored; good while the object lives.
  const unsigned char* value() const noexcept;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts;
};

}  // namespace OMB::system
