#include "hex.h"

#include <cstddef>

namespace OMB::tool {
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
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const unsigned char byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

}  // namespace OMB::tool
