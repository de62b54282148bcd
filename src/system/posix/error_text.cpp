#include "system/error_text.h"

#include <cerrno>
#include <string.h>

#include "system/module.h"

namespace OMB::system {

std::uint32_t lastError() noexcept {
  return static_cast<std::uint32_t>(errno);
}

std::string errorText(std::uint32_t code) {
  // The one failure to open a library that the loader has no words for.
  if (code == kModuleNotFound) return "There is no library of that name where the loader looks";
  const char* text = strerrordesc_np(static_cast<int>(code));
  return text == nullptr ? std::string() : text;
}

}  // namespace OMB::system
