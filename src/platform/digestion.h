// SHA-256 of bytes that come part by part.
#pragma once

#include <cstdint>

#include "ombrel/platform/byte_vector.h"

#include "system/digest.h"

namespace OMB::Crypto {

/// A digest in the steps that Crypto::hashBuffer makes of it, each called in the order in which
/// they stand here and only while none has failed. One that fails prints a line.
class Digestion {
 public:
  bool begin();
  /// May be called any number of times, and has to be called once.
  bool add(const unsigned char* part, std::uint32_t size);
  /// The digest, or nothing if it failed.
  ByteVector finish();

 private:
  system::Digest sha;
  std::uint32_t length = 0;
};

}  // namespace OMB::Crypto
