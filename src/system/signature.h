// Ed25519 signatures.
#pragma once

#include <array>
#include <optional>
#include <span>

namespace OMB::system {

/// 32 bytes: the seed of a private key, from which the whole of it is made, or a public key.
using SigningKey = std::array<unsigned char, 32>;
using Signature = std::array<unsigned char, 64>;

/// Whether the signature is that of exactly this message by the owner of the key. Anything that
/// fails means no.
[[nodiscard]] bool isSignedBy(const SigningKey& publicKey, std::span<const unsigned char> message,
                              const Signature& signature) noexcept;

/// Nothing if it fails, as where there is no memory.
[[nodiscard]] std::optional<Signature> sign(const SigningKey& seed,
                                            std::span<const unsigned char> message) noexcept;
[[nodiscard]] std::optional<SigningKey> publicKeyOf(const SigningKey& seed) noexcept;

}  // namespace OMB::system
