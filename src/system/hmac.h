// HMAC over SHA-256.
#pragma once

#include <span>

#include "system/status.h"

namespace OMB::system {

/// Writes the 32 bytes that stand for less than 2 GiB of `message` under a key of any length.
Status hmacSha256(std::span<const unsigned char> key, std::span<const unsigned char> message,
                  unsigned char* digest);

}  // namespace OMB::system
