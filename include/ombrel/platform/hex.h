// Bytes as hexadecimal digits.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "ombrel/export.h"

/// No function keeps a copy of what it is given. All may run on any thread at the same time.
namespace OMB::Utility {

/// Fills `bytes` from `text`, two digits of either case a byte. Returns false unless `text` is
/// exactly as long as `bytes` asks for and holds digits only; `bytes` is not to be used then.
[[nodiscard]] OMBREL_API bool decodeHex(std::string_view text, std::span<unsigned char> bytes);

/// Two lower-case digits a byte. Throws std::bad_alloc.
[[nodiscard]] OMBREL_API std::string encodeHex(std::span<const unsigned char> bytes);

/// The same into memory of the caller's, which has room for them, for what must not be copied.
OMBREL_API void encodeHex(std::span<const unsigned char> bytes, char* text) noexcept;

}  // namespace OMB::Utility
