#include "system/hmac.h"

#include <limits>

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace OMB::system {

Status hmacSha256(std::span<const unsigned char> key, std::span<const unsigned char> message,
                  unsigned char* digest) {
  constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<int>::max());
  if (key.size() > kMost || message.size() > kMost) return kInvalidParameter;
  const unsigned char* const made = HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
                                         message.data(), message.size(), digest, nullptr);
  return made != nullptr ? kSuccess : kUnsuccessful;
}

}  // namespace OMB::system
