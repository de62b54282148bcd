#include "system/aes_gcm.h"

#include <limits>

#include "system/windows/cng.h"

namespace OMB::system {
namespace {

constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<LONG>::max());
constexpr unsigned char kNonce[12] = {};

using Transform = decltype(&BCryptEncrypt);  // BCryptDecrypt has the same type

Status transform(Transform call, std::span<const unsigned char, 32> key,
                 std::span<const unsigned char> beside, std::span<unsigned char> message,
                 GcmTag& tag) {
  if (beside.size() > kMost || message.size() > kMost) return kInvalidParameter;
  Provider provider;
  Status status = BCryptOpenAlgorithmProvider(provider.out(), L"AES", nullptr, 0);
  if (status < 0) return status;
  wchar_t mode[] = L"ChainingModeGCM";
  status = BCryptSetProperty(provider.get(), L"ChainingMode", reinterpret_cast<PUCHAR>(mode),
                             sizeof(mode), 0);
  if (status < 0) return status;
  Handle<destroyKey> handle;  // ends before its provider
  status = BCryptGenerateSymmetricKey(provider.get(), handle.out(), nullptr, 0,
                                      writable(key.data()), static_cast<ULONG>(key.size()), 0);
  if (status < 0) return status;
  BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO info;
  BCRYPT_INIT_AUTH_MODE_INFO(info);
  info.pbNonce = writable(kNonce);
  info.cbNonce = sizeof(kNonce);
  info.pbAuthData = writable(beside.data());
  info.cbAuthData = static_cast<ULONG>(beside.size());
  info.pbTag = tag.data();
  info.cbTag = static_cast<ULONG>(tag.size());
  const auto size = static_cast<ULONG>(message.size());
  ULONG written = 0;
  return call(handle.get(), message.data(), size, &info, nullptr, 0, message.data(), size, &written,
              0);
}

}  // namespace

Status sealOnce(std::span<const unsigned char, 32> key, std::span<const unsigned char> beside,
                std::span<unsigned char> message, GcmTag& tag) {
  return transform(BCryptEncrypt, key, beside, message, tag);
}

Status openSealed(std::span<const unsigned char, 32> key, std::span<const unsigned char> beside,
                  std::span<unsigned char> message, const GcmTag& tag) {
  GcmTag wanted = tag;  // the call takes writable bytes
  return transform(BCryptDecrypt, key, beside, message, wanted);
}

}  // namespace OMB::system
