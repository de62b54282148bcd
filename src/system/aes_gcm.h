// AES-256-GCM: messages that are enciphered and authenticated as a whole.
#pragma once

#include <array>
#include <span>

#include "system/status.h"

namespace OMB::system {

using GcmTag = std::array<unsigned char, 16>;

/// Enciphers the message where it is and tells the tag of it and of `beside`, each less than 2 GiB.
/// The nonce is zero, so a key seals one message only, ever.
[[nodiscard]] Status sealOnce(std::span<const unsigned char, 32> key,
                              std::span<const unsigned char> beside,
                              std::span<unsigned char> message, GcmTag& tag);

/// The way back. After a failure, which a tag that does not fit is, the message has no meaning and
/// may be plaintext: the caller wipes it.
[[nodiscard]] Status openSealed(std::span<const unsigned char, 32> key,
                                std::span<const unsigned char> beside,
                                std::span<unsigned char> message, const GcmTag& tag);

}  // namespace OMB::system
