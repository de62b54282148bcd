// UTF-8 and wide characters.
#pragma once

#include <string>

namespace OMB::system {

/// What is not valid becomes U+FFFD. Empty for an empty text, or when the system converts nothing.
std::string to_utf8(const std::wstring& wide);
std::wstring to_wide(const std::string& narrow);

}  // namespace OMB::system
