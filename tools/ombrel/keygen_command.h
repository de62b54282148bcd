// ombrel keygen: makes a key.
#pragma once

#include <filesystem>

#include "exit_codes.h"

namespace OMB::tool {

/// Writes a random key for models to a new file that only this user may read. Throws ToolError,
/// also for a file that is there already: the key in it may be the only one of some model.
ExitCode keygenCommand(const std::filesystem::path& modelKey);

}  // namespace OMB::tool
