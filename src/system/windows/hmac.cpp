#include "system/hmac.h"

#include <limits>

#include "system/windows/cng.h"

namespace OMB::system {

Status hmacSha256(std::span<const unsigned char> key, std::span<const unsigned char> message,
                  unsigned char* digest) {
  constexpr ULONG kDigest = 32;
  constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<LONG>::max());
  if (key.size() > kMost || message.size() > kMost) return kInvalidParameter;
  Provider provider;
  Status status =
      BCryptOpenAlgorithmProvider(provider.out(), L"SHA256", nullptr, BCRYPT_ALG_HANDLE_HMAC_FLAG);
  if (status < 0) return status;
  Handle<destroyHash> hash;  // ends before its provider
  status = BCryptCreateHash(provider.get(), hash.out(), nullptr, 0, writable(key.data()),
                            static_cast<ULONG>(key.size()), 0);
  if (status < 0) return status;
  status =
      BCryptHashData(hash.get(), writable(message.data()), static_cast<ULONG>(message.size()), 0);
  return status < 0 ? status : BCryptFinishHash(hash.get(), digest, kDigest, 0);
}

}  // namespace OMB::system
