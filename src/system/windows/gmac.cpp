// Over CNG's AES-GCM with nothing to encrypt.
#include "system/gmac.h"

#include <limits>
#include <new>

#include "system/windows/cng.h"

namespace OMB::system {
namespace {

constexpr ULONG kKey = 16, kNonce = 12, kTag = 16;
constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<LONG>::max());

}  // namespace

// The order matters: members end from last to first.
struct Gmac::Parts {
  Handle<destroyKey> key;
  Provider provider;
};

Gmac::Gmac() noexcept = default;
Gmac::~Gmac() = default;

Status Gmac::open(const unsigned char* key) {
  parts.reset(new (std::nothrow) Parts);
  if (parts == nullptr) return kNoMemory;
  Status status = BCryptOpenAlgorithmProvider(parts->provider.out(), L"AES", nullptr, 0);
  if (status < 0) return status;
  wchar_t mode[] = L"ChainingModeGCM";
  status = BCryptSetProperty(parts->provider.get(), L"ChainingMode", reinterpret_cast<PUCHAR>(mode),
                             sizeof(mode), 0);
  if (status < 0) return status;
  return BCryptGenerateSymmetricKey(parts->provider.get(), parts->key.out(), nullptr, 0,
                                    writable(key), kKey, 0);
}

Status Gmac::authenticate(const unsigned char* nonce, const unsigned char* bytes, std::size_t size,
                          unsigned char* tag) {
  if (size > kMost) return kInvalidParameter;
  BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO info;
  BCRYPT_INIT_AUTH_MODE_INFO(info);
  info.pbNonce = writable(nonce);
  info.cbNonce = kNonce;
  info.pbAuthData = writable(bytes);
  info.cbAuthData = static_cast<ULONG>(size);
  info.pbTag = tag;
  info.cbTag = kTag;
  ULONG written = 0;
  return BCryptEncrypt(parts->key.get(), nullptr, 0, &info, nullptr, 0, nullptr, 0, &written, 0);
}

}  // namespace OMB::system
