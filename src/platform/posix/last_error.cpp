#include "platform/posix/last_error.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

// Needs no destruction: libraries are closed, and may fail to, after the thread's objects have
// ended.
struct LastError {
  DWORD code;
  std::size_t length;
  std::array<char, 2048> text;
};

thread_local constinit LastError lastError{};

}  // namespace

DWORD GetLastError() {
  return lastError.code;
}

void SetLastError(DWORD code) {
  lastError.code = code;
  lastError.length = 0;
}

namespace OMB::posix {

void setLastError(DWORD code, std::string_view text) noexcept {
  lastError.code = code;
  lastError.length = text.copy(lastError.text.data(), lastError.text.size());
}

std::string_view lastErrorText(DWORD code) noexcept {
  if (code != lastError.code) return {};
  return {lastError.text.data(), lastError.length};
}

}  // namespace OMB::posix
