// UTF-8 to and from wide characters, which hold 32 bits here. What is not valid becomes U+FFFD.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "platform/posix/error_codes.h"
#include "platform/posix/posix_calls.h"

using namespace OMB::posix;

namespace {

constexpr UINT codePageUtf8 = 65001;
constexpr char32_t replacement = 0xFFFD;

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
  if (sequence.size == 0) return {replacement, 1};

  char32_t character = lead & (0x7Fu >> sequence.size);
  for (std::size_t i = 1; i < sequence.size; ++i) {
    const unsigned char low = i == 1 ? sequence.secondLow : 0x80;
    const unsigned char high = i == 1 ? sequence.secondHigh : 0xBF;
    if (i == input.size() || input[i] < low || input[i] > high) return {replacement, i};
    character = character << 6 | (input[i] & 0x3Fu);
  }
  return {character, sequence.size};
}

std::size_t encode(char32_t character, std::span<unsigned char, 4> output) {
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  if (surrogate || character > 0x10FFFF) character = replacement;
  if (character < 0x80) {
    output[0] = static_cast<unsigned char>(character);
    return 1;
  }
  const std::size_t size = character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
  for (std::size_t i = size; i-- > 1; character >>= 6) {
    output[i] = static_cast<unsigned char>(0x80 | (character & 0x3F));
  }
  output[0] = static_cast<unsigned char>((0xF00u >> size & 0xF0u) | character);
  return size;
}

// Counts what is produced, and stores it as far as there is an output to store it in.
template <typename Unit>
class Output {
 public:
  Output(Unit* units, int capacity) : units_(units), capacity_(capacity) {}

  void add(Unit unit) {
    if (capacity_ != 0 && size_ < capacity_) units_[size_] = unit;
    ++size_;
  }

  int finish() const {
    if (capacity_ != 0 && size_ > capacity_) return fail(bufferTooSmall);
    if (size_ > std::numeric_limits<int>::max()) return fail(invalidParameter);
    return static_cast<int>(size_);
  }

  static int fail(DWORD code) {
    SetLastError(code);
    return 0;
  }

 private:
  Unit* units_;
  std::int64_t capacity_;
  std::int64_t size_ = 0;
};

template <typename From, typename To>
bool isUsable(UINT codePage, const From* input, int inputSize, const To* output, int outputSize) {
  return codePage == codePageUtf8 && input != nullptr && inputSize > 0 && outputSize >= 0 &&
         (outputSize == 0 || output != nullptr);
}

}  // namespace

int MultiByteToWideChar(UINT codePage, DWORD /*flags*/, const char* input, int inputSize,
                        wchar_t* output, int outputSize) {
  if (!isUsable(codePage, input, inputSize, output, outputSize)) {
    return Output<wchar_t>::fail(invalidParameter);
  }
  std::span<const unsigned char> rest(reinterpret_cast<const unsigned char*>(input),
                                      static_cast<std::size_t>(inputSize));
  Output<wchar_t> wide(output, outputSize);
  while (!rest.empty()) {
    const Decoded decoded = decode(rest);
    wide.add(static_cast<wchar_t>(decoded.character));
    rest = rest.subspan(decoded.size);
  }
  return wide.finish();
}

int WideCharToMultiByte(UINT codePage, DWORD /*flags*/, const wchar_t* input, int inputSize,
                        char* output, int outputSize, const char* /*defaultCharacter*/,
                        BOOL* /*usedDefault*/) {
  if (!isUsable(codePage, input, inputSize, output, outputSize)) {
    return Output<char>::fail(invalidParameter);
  }
  Output<char> narrow(output, outputSize);
  for (const wchar_t character : std::span(input, static_cast<std::size_t>(inputSize))) {
    unsigned char bytes[4];
    const std::size_t size = encode(static_cast<char32_t>(character), bytes);
    for (std::size_t i = 0; i < size; ++i) narrow.add(static_cast<char>(bytes[i]));
  }
  return narrow.finish();
}
