// Where code in the process comes from.
#pragma once

#include <string>

namespace OMB::system {

/// Path of the library or program that holds the function at `address`; empty if no file does.
std::string modulePath(const void* address);

}  // namespace OMB::system
