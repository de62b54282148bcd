// ombrel check: whether a plug-in and its dependencies are what the manifest accepts.
#pragma once

#include "exit_codes.h"
#include "plugin_setup.h"

namespace OMB::tool {

/// Loads the plug-in and tests each dependency, also those behind one that failed, and tells which
/// file was tested. Fails on libraries in the package's folder that no list names, also where the
/// folder is open to other files.
ExitCode checkCommand(const PackageOptions& options);

}  // namespace OMB::tool
