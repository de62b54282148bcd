#include "system/text.h"

#include <cstddef>
#include <limits>

#include "system/windows/windows_calls.h"

namespace OMB::system {
namespace {

constexpr UINT kUtf8 = 65001;

// The lengths of the calls are of type int.
bool fits(std::size_t length) {
  return length != 0 && length <= static_cast<std::size_t>(std::numeric_limits<int>::max());
}

}  // namespace

std::string to_utf8(const std::wstring& wide) {
  if (!fits(wide.size())) return {};
  const int size = static_cast<int>(wide.size());
  const int needed = WideCharToMultiByte(kUtf8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(needed), '\0');
  if (needed != 0) {
    WideCharToMultiByte(kUtf8, 0, wide.data(), size, narrow.data(), needed, nullptr, nullptr);
  }
  return narrow;
}

std::wstring to_wide(const std::string& narrow) {
  if (!fits(narrow.size())) return {};
  const int size = static_cast<int>(narrow.size());
  const int needed = MultiByteToWideChar(kUtf8, 0, narrow.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  if (needed != 0) MultiByteToWideChar(kUtf8, 0, narrow.data(), size, wide.data(), needed);
  return wide;
}

}  // namespace OMB::system
