// ombrel keygen: makes a key.
#pragma once

#include <filesystem>

#include "exit_codes.h"

namespace OMB::tool {

/// A new file for one of them.
struct KeygenOptions {
  std::filesystem::path model;
  std::filesystem::path signing;
};

/// Writes a random key to a file that only this user may read, and the public half of one for
/// signing beside it, under its name with ".pub" behind. Throws ToolError, also for a file that is
/// there already: the key in it may be the only one of some model.
ExitCode keygenCommand(const KeygenOptions& options);

}  // namespace OMB::tool
