#include "platform/hkdf.h"

#include "ombrel/platform/byte_vector.h"

#include "system/hmac.h"

namespace OMB::platform {

system::Status deriveKey(std::span<const unsigned char> key, std::span<const unsigned char> salt,
                         std::string_view info, std::span<unsigned char, 32> derived) {
  ByteVector extracted(derived.size());
  const system::Status status = system::hmacSha256(salt, key, extracted.data());
  if (status < 0) return status;
  ByteVector round;
  for (const char character : info) round.push_back(static_cast<unsigned char>(character));
  round.push_back(1);  // the round's number
  return system::hmacSha256(extracted, round, derived.data());
}

}  // namespace OMB::platform
