// ombrel verify: proves a pair by its tags, without loading it.
#pragma once

#include <string>

#include "ombrel/platform/byte_vector.h"

#include "exit_codes.h"

namespace OMB::tool {

struct VerifyOptions {
  std::string base;
  ByteVector key;  ///< of a sealed pair, or of the tags of one in the clear
};

/// Throws ToolError, with what is wrong, unless all bytes of the pair are as they were made.
ExitCode verifyCommand(const VerifyOptions& options);

}  // namespace OMB::tool
