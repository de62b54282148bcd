// The environment of the process.
#pragma once

namespace OMB::system {

/// Puts the variable there, in the place of any value that it had. Threads: calls may overlap; one
/// that finds the value in place already leaves the environment alone, so that it does not move
/// under a thread that reads it.
void setEnvironment(const char* name, const char* value);

}  // namespace OMB::system
