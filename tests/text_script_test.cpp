// Texts over platform calls of which each is made to fail at its first and its second use.
#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "platform/text.h"
#include "scripted_call.h"

namespace {

int failingUse = 0;   // of the conversions, counted from 1
DWORD textSize = 0;   // what FormatMessageW gives; 0 fails
int conversions = 0;  // so far

// One unit of the output for each of the input.
template <typename From, typename To>
int convert(UINT codePage, DWORD flags, const From* input, int size, To* output, int capacity) {
  EXPECT_TRUE(codePage == 65001 && flags == 0);
  if (++conversions == failingUse) return 0;
  EXPECT_EQ(capacity, output == nullptr ? 0 : size);
  for (int i = 0; i < capacity; ++i) output[i] = static_cast<To>(input[i]);
  return size;
}

}  // namespace

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* input, int size, wchar_t* output,
                        int capacity) {
  return convert(codePage, flags, input, size, output, capacity);
}
int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* input, int size, char* output,
                        int capacity, const char* replacement, BOOL* replaced) {
  EXPECT_TRUE(replacement == nullptr && replaced == nullptr);
  return convert(codePage, flags, input, size, output, capacity);
}
DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, wchar_t* buffer,
                     DWORD size, void* arguments) {
  EXPECT_TRUE(flags == 0x1000 && source == nullptr && code == 5 && language == 0x400);
  EXPECT_TRUE(size == 1024 && arguments == nullptr);
  std::fill_n(buffer, size, L't');
  return textSize;
}

namespace OMB {
namespace {

TEST(TextScript, AFailedCallGivesNothingOrZeros) {
  const std::string zeros(3, '\0');
  const std::pair<int, std::string> table[] = {{0, "abc"}, {1, ""}, {2, zeros}};
  for (const auto& [failing, result] : table) {
    failingUse = failing;
    conversions = 0;
    EXPECT_EQ(to_utf8(L"abc"), result) << failing;
    conversions = 0;
    EXPECT_EQ(to_wide("abc"), std::wstring(result.begin(), result.end())) << failing;
  }
  failingUse = 0;
  for (const DWORD size : {0, 3, 1024}) {
    textSize = size;
    EXPECT_EQ(system_error_text(5), std::string(size, 't'));
    SetLastError(5);
    EXPECT_EQ(system_error_text(-1), std::string(size, 't'));
  }
}

}  // namespace
}  // namespace OMB
