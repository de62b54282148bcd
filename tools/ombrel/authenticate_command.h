// ombrel authenticate: makes the tags of a pair in the clear.
#pragma once

#include <string>

#include "ombrel/model/authentication.h"
#include "ombrel/platform/byte_vector.h"

#include "exit_codes.h"
#include "files.h"

namespace OMB::tool {

struct AuthenticateOptions {
  std::string base;
  ByteVector key;  ///< as the host gives it to verifyModel
};

/// Writes the tags beside the pair, with a new salt. Wipes the key in the options. Throws
/// ToolError.
ExitCode authenticateCommand(AuthenticateOptions& options);

/// Ends what has taken a pair's bytes, and writes the tags. Throws ToolError.
void writeTags(ModelAuthenticator& authenticator, PendingFile& out);

}  // namespace OMB::tool
