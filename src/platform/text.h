// Texts of platform errors, and conversions between UTF-8 and wide strings.
#pragma once

#include <string>

namespace OMB {

/// Text of a platform error code in UTF-8, with the line end that the system gives it; -1 stands
/// for the thread's last error, 0 and codes that the system does not know give an empty text.
std::string system_error_text(int code);

/// Each gives an empty string for an empty input or when the platform converts nothing.
std::string to_utf8(const std::wstring& wide);
std::wstring to_wide(const std::string& narrow);

}  // namespace OMB
