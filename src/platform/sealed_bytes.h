// Bytes that are kept sealed: enciphered, and authenticated as a whole together with what they
// belong to.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "ombrel/platform/byte_vector.h"

namespace OMB::platform {

/// What stands in front of the ciphertext: 16 bytes that name the format, a salt of 32, the tag. A
/// multiple of 64, so that what follows is as well aligned as it was.
inline constexpr std::size_t kSealBytes = 64;
using Seal = std::array<unsigned char, kSealBytes>;

/// What is sealed with the bytes and not stored: whoever opens them has to have the same.
struct Belonging {
  std::string_view context;              ///< what has to be told in words, some hundred bytes
  std::span<const unsigned char> bytes;  ///< less than 2 GiB
};

/// Enciphers the bytes where they are. Nothing when there are 2 GiB or more or the system's
/// cryptography fails, and then the bytes may be plaintext.
[[nodiscard]] std::optional<Seal> sealInPlace(std::span<const unsigned char> key,
                                              const Belonging& belonging,
                                              std::span<unsigned char> bytes);

/// Deciphers what follows the seal where it is, and tells whether every bit of all is as it was
/// sealed. If not, the vector is emptied.
[[nodiscard]] bool openInPlace(std::span<const unsigned char> key, const Belonging& belonging,
                               ByteVector& sealed);

}  // namespace OMB::platform
