// Over libcrypto's AES-GCM with nothing to encrypt.
#include "system/gmac.h"

#include <limits>
#include <new>

#include <openssl/evp.h>

namespace OMB::system {
namespace {

constexpr int kTag = 16;
constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<int>::max());

}  // namespace

struct Gmac::Parts {
  std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context{EVP_CIPHER_CTX_new(),
                                                                          EVP_CIPHER_CTX_free};
};

Gmac::Gmac() noexcept = default;
Gmac::~Gmac() = default;

Status Gmac::open(const unsigned char* key) {
  parts.reset(new (std::nothrow) Parts);
  if (parts == nullptr || parts->context == nullptr) return kNoMemory;
  // The nonce has 12 bytes unless something else is said.
  const bool made =
      EVP_EncryptInit_ex(parts->context.get(), EVP_aes_128_gcm(), nullptr, key, nullptr) == 1;
  return made ? kSuccess : kUnsuccessful;
}

Status Gmac::authenticate(const unsigned char* nonce, const unsigned char* bytes, std::size_t size,
                          unsigned char* tag) {
  if (size > kMost) return kInvalidParameter;
  EVP_CIPHER_CTX* const context = parts->context.get();
  unsigned char none[kTag];
  int written = 0;
  const bool done =
      EVP_EncryptInit_ex(context, nullptr, nullptr, nullptr, nonce) == 1 &&
      EVP_EncryptUpdate(context, nullptr, &written, bytes, static_cast<int>(size)) == 1 &&
      EVP_EncryptFinal_ex(context, none, &written) == 1 &&
      EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_GET_TAG, kTag, tag) == 1;
  return done ? kSuccess : kUnsuccessful;
}

}  // namespace OMB::system
