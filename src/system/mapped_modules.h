// Which libraries the process has.
#pragma once

#include <string>
#include <vector>

namespace OMB::system {

/// The file of each library that is mapped now, in UTF-8 or the system's own bytes, as the loader
/// came to it; the program itself may be among them.
std::vector<std::string> mappedModules();

}  // namespace OMB::system
