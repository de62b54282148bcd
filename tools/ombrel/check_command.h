// ombrel check: whether a plug-in and its dependencies are what the manifest accepts.
#pragma once

#include <filesystem>

#include "exit_codes.h"

namespace OMB::tool {

/// Loads the plug-in and tests each dependency, also those behind one that failed, and tells which
/// file was tested.
ExitCode checkCommand(const std::filesystem::path& manifest);

}  // namespace OMB::tool
