#include "ombrel/platform/hex.h"

#include <cstddef>

namespace OMB::Utility {
namespace {

// Not std::isxdigit and the like, which go by the locale.
int digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace

bool decodeHex(std::string_view text, std::span<unsigned char> bytes) {
  if (text.size() != bytes.size() * 2) return false;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const int high = digitValue(text[2 * i]);
    const int low = digitValue(text[2 * i + 1]);
    if (high < 0 || low < 0) return false;
    bytes[i] = static_cast<unsigned char>(high * 16 + low);
  }
  return true;
}

std::string encodeHex(std::span<const unsigned char> bytes) {
  std::string text(bytes.size() * 2, '\0');
  encodeHex(bytes, text.data());
  return text;
}

void encodeHex(std::span<const unsigned char> bytes, char* text) noexcept {
  constexpr char kDigits[] = "0123456789abcdef";
  for (const unsigned char byte : bytes) {
    *text++ = kDigits[byte >> 4];
    *text++ = kDigits[byte & 15];
  }
}

}  // namespace OMB::Utility
