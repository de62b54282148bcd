#include "terminal.h"

#include <algorithm>
#include <cmath>
#include <unistd.h>

namespace OMB::tool {

bool errorIsTerminal() {
  return isatty(STDERR_FILENO) != 0;
}

std::string drawBar(double part, std::size_t width) {
  const double filled = std::round(std::clamp(part, 0.0, 1.0) * static_cast<double>(width));
  std::string bar(static_cast<std::size_t>(filled), '#');
  bar.resize(width, ' ');
  return bar;
}

}  // namespace OMB::tool
