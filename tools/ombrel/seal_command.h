// ombrel seal: makes an encrypted model pair that the backend reads.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <span>
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

/// Writes the sealed pair of another base path, and the tags that prove it, and puts all three in
/// place at the end. Throws ToolError as sealFile does, and for an output that is an input.
void sealPair(const std::string& inBase, const std::string& outBase, const ByteVector& key);

/// Takes bytes of a file in their order.
using Sink = std::function<void(std::span<const std::byte>)>;

/// Gives the contents of `in` to `out` as Crypto::decryptFile reads them with the caller's bytes
/// `key`, the build's model IV and its key mask. Throws ToolError, also for a file that would
/// become longer than the backend can decrypt.
void sealFile(const std::filesystem::path& in, const Sink& out, const ByteVector& key);
void sealFile(const std::filesystem::path& in, PendingFile& out, const ByteVector& key);

}  // namespace OMB::tool
