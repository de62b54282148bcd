#include "platform/text.h"

#include <cstdint>

#include "system/error_text.h"

namespace OMB {

std::string system_error_text(int code) {
  const std::uint32_t number = code == -1 ? system::lastError() : static_cast<std::uint32_t>(code);
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
      return system::errorText(number);
  }
}

}  // namespace OMB
