#include "platform/text.h"

#include <array>
#include <cstddef>
#include <limits>

#include "platform/system_calls.h"

namespace OMB {
namespace {

constexpr UINT codePageUtf8 = 65001;
constexpr DWORD fromSystemTable = 0x1000;
constexpr DWORD neutralLanguage = 0x400;

// The lengths of the platform's calls are of type int.
bool fits(std::size_t length) {
  return length != 0 && length <= static_cast<std::size_t>(std::numeric_limits<int>::max());
}

std::string systemText(DWORD code) {
  std::array<wchar_t, 1024> block;
  const DWORD length = FormatMessageW(fromSystemTable, nullptr, code, neutralLanguage, block.data(),
                                      static_cast<DWORD>(block.size()), nullptr);
  return to_utf8(std::wstring(block.data(), length));
}

}  // namespace

std::string system_error_text(int code) {
  const DWORD number = code == -1 ? GetLastError() : static_cast<DWORD>(code);
  // Four codes have the meaning of the error numbers of the C library, on every system.
  switch (number) {
    case 0:
      return {};
    case 2:
      return "No such file or directory";
    case 13:
      return "Permission denied";
    case 24:
      return "Too many open files";
    case 28:
      return "No space left on device";
    default:
      return systemText(number);
  }
}

std::string to_utf8(const std::wstring& wide) {
  if (!fits(wide.size())) return {};
  const int size = static_cast<int>(wide.size());
  const int needed =
      WideCharToMultiByte(codePageUtf8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(needed), '\0');
  if (needed != 0) {
    WideCharToMultiByte(codePageUtf8, 0, wide.data(), size, narrow.data(), needed, nullptr,
                        nullptr);
  }
  return narrow;
}

std::wstring to_wide(const std::string& narrow) {
  if (!fits(narrow.size())) return {};
  const int size = static_cast<int>(narrow.size());
  const int needed = MultiByteToWideChar(codePageUtf8, 0, narrow.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  if (needed != 0) {
    MultiByteToWideChar(codePageUtf8, 0, narrow.data(), size, wide.data(), needed);
  }
  return wide;
}

}  // namespace OMB
