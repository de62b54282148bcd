#include "system/signature.h"

#include <memory>

#include <openssl/evp.h>

namespace OMB::system {
namespace {

struct Release {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Key = std::unique_ptr<EVP_PKEY, Release>;
using Context = std::unique_ptr<EVP_MD_CTX, Release>;

Key privateKey(const SigningKey& seed) {
  return Key(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, seed.data(), seed.size()));
}

}  // namespace

bool isSignedBy(const SigningKey& publicKey, std::span<const unsigned char> message,
                const Signature& signature) noexcept {
  const Key key(
      EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, publicKey.data(), publicKey.size()));
  const Context context(EVP_MD_CTX_new());
  return key && context &&
         EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1 &&
         EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(),
                          message.size()) == 1;
}

std::optional<Signature> sign(const SigningKey& seed,
                              std::span<const unsigned char> message) noexcept {
  const Key key = privateKey(seed);
  const Context context(EVP_MD_CTX_new());
  Signature signature;
  std::size_t size = signature.size();
  const bool done =
      key && context &&
      EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1 &&
      EVP_DigestSign(context.get(), signature.data(), &size, message.data(), message.size()) == 1;
  return done ? std::optional(signature) : std::nullopt;
}

std::optional<SigningKey> publicKeyOf(const SigningKey& seed) noexcept {
  const Key key = privateKey(seed);
  SigningKey result;
  std::size_t size = result.size();
  const bool done = key && EVP_PKEY_get_raw_public_key(key.get(), result.data(), &size) == 1;
  return done ? std::optional(result) : std::nullopt;
}

}  // namespace OMB::system
