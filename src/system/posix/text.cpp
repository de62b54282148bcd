// Wide characters hold 32 bits here.
#include "system/text.h"

#include <cstddef>
#include <span>

namespace OMB::system {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Decoded {
  char32_t character;
  std::size_t size;  // bytes that it took
};

// What a lead byte demands: the range of the byte behind it excludes overlong forms, surrogates and
// values above the last character.
struct Sequence {
  std::size_t size;
  unsigned char secondLow = 0x80;
  unsigned char secondHigh = 0xBF;
};

Sequence sequenceOf(unsigned char lead) {
  if (lead < 0x80) return {1};
  if (lead < 0xC2 || lead > 0xF4) return {0};
  if (lead < 0xE0) return {2};
  if (lead == 0xE0) return {3, 0xA0, 0xBF};
  if (lead == 0xED) return {3, 0x80, 0x9F};
  if (lead < 0xF0) return {3};
  if (lead == 0xF0) return {4, 0x90, 0xBF};
  if (lead == 0xF4) return {4, 0x80, 0x8F};
  return {4};
}

// Of a broken sequence the longest valid start is replaced as one, and what follows is looked at
// anew.
Decoded decode(std::span<const unsigned char> input) {
  const unsigned char lead = input[0];
  const Sequence sequence = sequenceOf(lead);
  if (sequence.size == 1) return {lead, 1};
  if (sequence.size == 0) return {kReplacement, 1};

  char32_t character = lead & (0x7Fu >> sequence.size);
  for (std::size_t i = 1; i < sequence.size; ++i) {
    const unsigned char low = i == 1 ? sequence.secondLow : 0x80;
    const unsigned char high = i == 1 ? sequence.secondHigh : 0xBF;
    if (i == input.size() || input[i] < low || input[i] > high) return {kReplacement, i};
    character = character << 6 | (input[i] & 0x3Fu);
  }
  return {character, sequence.size};
}

void encode(char32_t character, std::string& output) {
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  if (surrogate || character > 0x10FFFF) character = kReplacement;
  if (character < 0x80) return output.push_back(static_cast<char>(character));
  const int following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  const char32_t lead = (0xF00u >> (following + 1)) & 0xF0u;
  output += static_cast<char>(lead | character >> (6 * following));
  for (int left = following; left-- > 0;) {
    output += static_cast<char>(0x80 | (character >> (6 * left) & 0x3F));
  }
}

}  // namespace

std::wstring to_wide(const std::string& narrow) {
  std::span<const unsigned char> rest(reinterpret_cast<const unsigned char*>(narrow.data()),
                                      narrow.size());
  std::wstring wide;
  while (!rest.empty()) {
    const Decoded decoded = decode(rest);
    wide += static_cast<wchar_t>(decoded.character);
    rest = rest.subspan(decoded.size);
  }
  return wide;
}

std::string to_utf8(const std::wstring& wide) {
  std::string narrow;
  for (const wchar_t character : wide) encode(static_cast<char32_t>(character), narrow);
  return narrow;
}

}  // namespace OMB::system
