// The caller's half of a model's key.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "ombrel/platform/byte_vector.h"

namespace OMB::tool {

inline constexpr std::size_t keyBytes = 16;

/// The bytes of a key written as 32 hexadecimal digits. Throws ToolError, which does not repeat the
/// digits.
ByteVector parseKey(std::string_view digits);

/// Takes the key out of a command line, where it stands as "--key DIGITS" or "--key=DIGITS": the
/// digits are overwritten in place, so that neither the parser's copies nor the system's list of
/// processes hold them. Empty if there is none. Throws as parseKey does.
ByteVector takeKey(std::span<char*> arguments);

}  // namespace OMB::tool
