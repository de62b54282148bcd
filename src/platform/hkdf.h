// HKDF over HMAC-SHA-256 (RFC 5869): keys of one purpose from a key of any.
#pragma once

#include <span>
#include <string_view>

#include "system/status.h"

namespace OMB::platform {

/// Derives 32 bytes, all that one round gives, from `key` for the purpose that `info` names.
system::Status deriveKey(std::span<const unsigned char> key, std::span<const unsigned char> salt,
                         std::string_view info, std::span<unsigned char, 32> derived);

}  // namespace OMB::platform
