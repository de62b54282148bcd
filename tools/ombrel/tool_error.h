// The one exception of the program.
#pragma once

#include <stdexcept>
#include <string>

#include "exit_codes.h"

namespace OMB::tool {

/// Ends the command: `what` is the message for the user, `code` what the program exits with.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode exitCode, const std::string& message)
      : std::runtime_error(message), code(exitCode) {}

  ExitCode code;
};

}  // namespace OMB::tool
