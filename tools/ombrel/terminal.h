// What is drawn in text.
#pragma once

#include <cstddef>
#include <string>

namespace OMB::tool {

/// True if standard error is a terminal, so that a line may be drawn over.
bool errorIsTerminal();

/// A bar of `width` characters, of which the share `part`, from 0 to 1, is filled.
std::string drawBar(double part, std::size_t width);

}  // namespace OMB::tool
