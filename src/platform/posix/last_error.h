// The last error of a thread, with the text that belongs to it.
#pragma once

#include <string_view>

#include "platform/posix/posix_calls.h"

namespace OMB::posix {

/// As SetLastError, and keeps the start of `text`, UTF-8, for who asks for the text of this code.
/// It is kept until the thread's next error, so that it never stands for another failure of the
/// same code.
void setLastError(DWORD code, std::string_view text) noexcept;

/// The text kept with the thread's last error; empty if there is none or `code` is not that error.
std::string_view lastErrorText(DWORD code) noexcept;

}  // namespace OMB::posix
