#include "system/error_text.h"

#include <array>

#include "system/text.h"
#include "system/windows/windows_calls.h"

namespace OMB::system {

std::uint32_t lastError() noexcept {
  return GetLastError();
}

std::string errorText(std::uint32_t code) {
  constexpr DWORD kFromSystemTable = 0x1000;
  constexpr DWORD kNeutralLanguage = 0x400;
  std::array<wchar_t, 1024> block;
  const DWORD length = FormatMessageW(kFromSystemTable, nullptr, code, kNeutralLanguage,
                                      block.data(), static_cast<DWORD>(block.size()), nullptr);
  return to_utf8(std::wstring(block.data(), length));
}

}  // namespace OMB::system
