// Texts over platform calls of which each is made to fail at its first and its second use.
#include <algorithm>

#include <gtest/gtest.h>

#include "platform/system_calls.h"
#include "platform/text.h"

namespace {

int untilFailure = 0;  // of the conversions
DWORD textSize = 0;    // what FormatMessageW gives; 0 fails

// One unit of the output for each of the input.
template <typename From, typename To>
int convert(UINT codePage, const From* input, int size, To* output, int capacity) {
  EXPECT_EQ(codePage, 65001u);
  EXPECT_EQ(capacity, output == nullptr ? 0 : size);
  if (--untilFailure == 0) return 0;
  for (int i = 0; i < capacity; ++i) output[i] = static_cast<To>(input[i]);
  return size;
}

}  // namespace

int MultiByteToWideChar(UINT codePage, DWORD, const char* input, int size, wchar_t* output,
                        int capacity) {
  return convert(codePage, input, size, output, capacity);
}
int WideCharToMultiByte(UINT codePage, DWORD, const wchar_t* input, int size, char* output,
                        int capacity, const char*, BOOL*) {
  return convert(codePage, input, size, output, capacity);
}
DWORD FormatMessageW(DWORD flags, const void*, DWORD code, DWORD language, wchar_t* buffer,
                     DWORD size, void*) {
  EXPECT_TRUE(flags == 0x1000 && code == 5 && language == 0x400 && size == 1024);
  std::fill_n(buffer, size, L't');
  return textSize;
}

TEST(TextScript, AFailedCallGivesNothingOrZeros) {
  const std::string results[] = {"abc", "", std::string(3, '\0')};
  for (const int failing : {0, 1, 2}) {
    const std::string& result = results[failing];
    untilFailure = failing;
    EXPECT_EQ(OMB::to_utf8(L"abc"), result);
    untilFailure = failing;
    EXPECT_EQ(OMB::to_wide("abc"), std::wstring(result.begin(), result.end()));
  }
  for (const DWORD size : {0u, 3u, 1024u}) {
    textSize = size;
    EXPECT_EQ(OMB::system_error_text(5), std::string(size, 't'));
  }
}
