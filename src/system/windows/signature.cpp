// By libsodium, linked in: the system itself has no Ed25519.
#include "system/signature.h"

#include <sodium/crypto_sign_ed25519.h>
#include <sodium/utils.h>

namespace OMB::system {
namespace {

using PrivateKey = std::array<unsigned char, crypto_sign_ed25519_SECRETKEYBYTES>;

struct Pair {
  SigningKey publicKey;
  PrivateKey privateKey;

  explicit Pair(const SigningKey& seed) noexcept {
    crypto_sign_ed25519_seed_keypair(publicKey.data(), privateKey.data(), seed.data());
  }
  ~Pair() { sodium_memzero(privateKey.data(), privateKey.size()); }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;
};

}  // namespace

bool isSignedBy(const SigningKey& publicKey, std::span<const unsigned char> message,
                const Signature& signature) noexcept {
  return crypto_sign_ed25519_verify_detached(signature.data(), message.data(), message.size(),
                                             publicKey.data()) == 0;
}

std::optional<Signature> sign(const SigningKey& seed,
                              std::span<const unsigned char> message) noexcept {
  const Pair pair(seed);
  Signature signature;
  crypto_sign_ed25519_detached(signature.data(), nullptr, message.data(), message.size(),
                               pair.privateKey.data());
  return signature;
}

std::optional<SigningKey> publicKeyOf(const SigningKey& seed) noexcept {
  return Pair(seed).publicKey;
}

}  // namespace OMB::system
