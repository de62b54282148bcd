// ombrel check: whether a plug-in and its dependencies are what the manifest accepts.
#pragma once

#include "exit_codes.h"
#include "plugin_setup.h"

namespace OMB::tool {

struct CheckOptions {
  PackageOptions package;
  bool json = false;
};

/// Loads the plug-in and tests each dependency, also those behind one that failed, and tells which
/// file was tested. Fails on libraries in the package's folder that no list names, also where the
/// folder is open to other files. As text, or as JSON once the package is proven.
ExitCode checkCommand(const CheckOptions& options);

}  // namespace OMB::tool
