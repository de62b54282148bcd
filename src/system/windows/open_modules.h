// The modules of the process, as Windows counts them.
#pragma once

#include <vector>

#include "system/windows/windows_calls.h"

namespace OMB::system {

/// All that are open now, the program first; none if the system does not tell.
std::vector<HMODULE> openModules();

}  // namespace OMB::system
