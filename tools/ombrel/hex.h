// Bytes as hexadecimal digits.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace OMB::tool {

/// Fills `bytes` from `text`, two digits of either case a byte. Returns false unless `text` is
/// exactly as long as `bytes` asks for and holds digits only; `bytes` is not to be used then.
[[nodiscard]] bool decodeHex(std::string_view text, std::span<unsigned char> bytes);

/// Two lower-case digits a byte.
std::string encodeHex(std::span<const unsigned char> bytes);

}  // namespace OMB::tool
