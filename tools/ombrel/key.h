// The caller's half of a model's key, and the places that it may come from.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include "ombrel/platform/byte_vector.h"
#include "ombrel/plugin/manifest.h"

namespace OMB::tool {

inline constexpr std::size_t kKeyBytes = 16;
inline constexpr std::size_t kSigningKeyBytes = 32;

/// Where the user says that the key is: in one of these, or in none.
struct KeySource {
  ByteVector given;            ///< on the command line; see takeKey
  std::filesystem::path file;  ///< empty: none; "-" is standard input
  std::string variable;        ///< of the environment; empty: none

  bool isSet() const { return !given.empty() || !file.empty() || !variable.empty(); }
};

/// The bytes of a key written as hexadecimal digits. Throws ToolError, which does not repeat the
/// digits.
ByteVector parseKey(std::string_view digits, std::size_t size = kKeyBytes);

/// The key of so many bytes in a file; "-" is standard input. Throws ToolError: for a file that
/// cannot be read, for one of this user's that others may read, and as parseKey does.
ByteVector readKeyFile(const std::filesystem::path& file, std::size_t size);

/// The public half of a signing key. Throws ToolError.
PublicKey readPublicKey(const std::filesystem::path& file);

/// The key that a caller's bytes stand for: with the build's mask.
ByteVector effectiveKey(const ByteVector& key);

/// Takes the key out of a command line, where it stands as "--key DIGITS" or "--key=DIGITS": the
/// digits are overwritten in place, so that neither the parser's copies nor the system's list of
/// processes hold them any longer. Empty if there is none. Throws as parseKey does.
ByteVector takeKey(std::span<char*> arguments);

/// Takes the key from its source, after the program has become one whose memory nobody else may
/// look at. No copy stays: one on the command line moves out of `source`, one in the environment
/// is wiped there. Empty if there is no source.
///
/// Throws ToolError as readKeyFile and parseKey do.
ByteVector fetchKey(KeySource& source);

}  // namespace OMB::tool
