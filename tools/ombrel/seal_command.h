// ombrel seal: makes an encrypted model pair that the backend reads.
#pragma once

#include <filesystem>
#include <string>

#include "ombrel/platform/byte_vector.h"

#include "exit_codes.h"
#include "files.h"

namespace OMB::tool {

struct SealOptions {
  std::string inBase;
  std::string outBase;
  ByteVector key;  ///< the caller's bytes; the build's mask is yet to be added
};

/// Wipes the key in the options when it is done with it.
ExitCode sealCommand(SealOptions& options);

/// Writes the contents of `in` to `out` as Crypto::decryptFile reads them with the caller's bytes
/// `key`, the build's model IV and its key mask. Throws ToolError, also for a file that would
/// become longer than the backend can decrypt.
void sealFile(const std::filesystem::path& in, PendingFile& out, const ByteVector& key);

}  // namespace OMB::tool
