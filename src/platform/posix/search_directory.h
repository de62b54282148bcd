// The folder that stands in front of the system's own search for libraries.
#pragma once

#include <string>

namespace OMB::posix {

/// The search directory of the process as it was set; empty if there is none. Safe on any thread.
std::string searchDirectory();

}  // namespace OMB::posix
