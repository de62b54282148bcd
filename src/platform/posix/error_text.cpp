#include <algorithm>
#include <string.h>
#include <string>
#include <string_view>

#include "platform/posix/error_codes.h"
#include "platform/posix/last_error.h"
#include "platform/posix/posix_calls.h"
#include "platform/text.h"

using namespace OMB::posix;

namespace {

// This layer's numbers go before the C library's, which has other errors under some of them.
const char* textOf(DWORD code) {
  switch (code) {
    case ERROR_MOD_NOT_FOUND:
      return "There is no library of that name where the loader looks";
    case accessDenied:
      return "It is a folder or cannot be read";
    case invalidHandle:
      return "The module is not open";
    case notEnoughMemory:
      return "There is not enough memory";
    case invalidParameter:
      return "Invalid argument";
    case bufferTooSmall:
      return "The buffer is too small";
    case symbolNotFound:
      return "There is no such symbol";
    case notALibrary:
      return "It is not a library of this machine, or is incomplete";
    case neededNotFound:
      return "A library that it needs is missing";
    case loadFailed:
      return "The library cannot be loaded";
    default:
      return strerrordesc_np(static_cast<int>(code));
  }
}

}  // namespace

DWORD FormatMessageW(DWORD /*flags*/, const void* /*source*/, DWORD code, DWORD /*language*/,
                     wchar_t* buffer, DWORD size, void* /*arguments*/) {
  if (size == 0) {
    SetLastError(bufferTooSmall);
    return 0;
  }
  std::string text(lastErrorText(code));
  if (text.empty()) {
    const char* known = textOf(code);
    if (known == nullptr) {
      SetLastError(messageNotFound);
      return 0;
    }
    text = known;
  }
  // A text that is too long is cut: its start is what says what happened.
  const std::wstring wide = OMB::to_wide(text).substr(0, size - 1);
  *std::copy(wide.begin(), wide.end(), buffer) = L'\0';
  return static_cast<DWORD>(wide.size());
}
