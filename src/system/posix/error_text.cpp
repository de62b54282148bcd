#include "system/error_text.h"

#include <cerrno>
#include <locale.h>
#include <string.h>
#include <string_view>

#include "system/module.h"

namespace OMB::system {

std::uint32_t lastError() noexcept {
  return static_cast<std::uint32_t>(errno);
}

std::string errorText(std::uint32_t code) {
  // The one failure to open a library that the loader has no words for.
  if (code == kModuleNotFound) return "There is no library of that name where the loader looks";
  // In the words of no language, whatever the host has set; glibc has them without an allocation.
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  const char* text = strerror_l(static_cast<int>(code), plain);
  if (text == nullptr || std::string_view(text).starts_with("Unknown error ")) return {};
  return text;
}

}  // namespace OMB::system
