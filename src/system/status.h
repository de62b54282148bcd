// What the steps of the system's cryptography answer.
#pragma once

#include <cstdint>

namespace OMB::system {

/// Negative for a failure. The numbers, which hosts see in messages, are those that Windows
/// documents, on every system.
using Status = std::int32_t;

inline constexpr Status kSuccess = 0;
inline constexpr auto kUnsuccessful = static_cast<Status>(0xC0000001);
inline constexpr auto kInvalidParameter = static_cast<Status>(0xC000000D);
inline constexpr auto kNoMemory = static_cast<Status>(0xC0000017);
inline constexpr auto kInvalidBufferSize = static_cast<Status>(0xC0000206);

}  // namespace OMB::system
