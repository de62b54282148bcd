// Texts of the system's errors.
#pragma once

#include <string>

namespace OMB {

/// Text of an error code in UTF-8, with the line end that the system gives it; -1 stands for the
/// thread's last error, 0 and codes that the system does not know give an empty text.
std::string system_error_text(int code);

}  // namespace OMB
