// Text on a standard stream.
#pragma once

#include <cstdio>
#include <string>

namespace OMB::system {

/// Writes the UTF-8 text as a whole, whether the host uses the stream for narrow or for wide text.
void writeText(std::FILE* stream, const std::string& text);

}  // namespace OMB::system
