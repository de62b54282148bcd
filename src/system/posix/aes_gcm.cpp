#include "system/aes_gcm.h"

#include <limits>
#include <memory>

#include <openssl/evp.h>

namespace OMB::system {
namespace {

constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<int>::max());
constexpr unsigned char kNonce[12] = {};

using Context = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

// All but the tag, in either direction.
bool transform(EVP_CIPHER_CTX* context, bool seals, std::span<const unsigned char, 32> key,
               std::span<const unsigned char> beside, std::span<unsigned char> message) {
  int written = 0;
  return EVP_CipherInit_ex(context, EVP_aes_256_gcm(), nullptr, key.data(), kNonce,
                           seals ? 1 : 0) == 1 &&
         EVP_CipherUpdate(context, nullptr, &written, beside.data(),
                          static_cast<int>(beside.size())) == 1 &&
         EVP_CipherUpdate(context, message.data(), &written, message.data(),
                          static_cast<int>(message.size())) == 1;
}

}  // namespace

Status sealOnce(std::span<const unsigned char, 32> key, std::span<const unsigned char> beside,
                std::span<unsigned char> message, GcmTag& tag) {
  if (beside.size() > kMost || message.size() > kMost) return kInvalidParameter;
  const Context context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  if (context == nullptr) return kNoMemory;
  unsigned char none[16];
  int written = 0;
  const bool done = transform(context.get(), true, key, beside, message) &&
                    EVP_CipherFinal_ex(context.get(), none, &written) == 1 &&
                    EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG,
                                        static_cast<int>(tag.size()), tag.data()) == 1;
  return done ? kSuccess : kUnsuccessful;
}

Status openSealed(std::span<const unsigned char, 32> key, std::span<const unsigned char> beside,
                  std::span<unsigned char> message, const GcmTag& tag) {
  if (beside.size() > kMost || message.size() > kMost) return kInvalidParameter;
  const Context context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  if (context == nullptr) return kNoMemory;
  GcmTag wanted = tag;  // the library takes writable bytes
  unsigned char none[16];
  int written = 0;
  const bool done = transform(context.get(), false, key, beside, message) &&
                    EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG,
                                        static_cast<int>(wanted.size()), wanted.data()) == 1 &&
                    EVP_CipherFinal_ex(context.get(), none, &written) == 1;
  return done ? kSuccess : kUnsuccessful;
}

}  // namespace OMB::system
