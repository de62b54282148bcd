// ombrel digest: the digests of libraries, as lines or as a manifest.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ombrel/plugin/manifest.h"

#include "exit_codes.h"

namespace OMB::tool {

struct ByteRange {
  std::uint32_t offset = 0;
  std::uint32_t length = 0;
};

struct DigestOptions {
  std::vector<std::filesystem::path> libraries;
  /// For a manifest: a library outside the plug-in's folder, which keeps its path from there; what
  /// else lies in the folder; and whether that is all.
  std::vector<std::filesystem::path> outside;
  std::vector<std::filesystem::path> files;
  bool closed = false;
  std::optional<ByteRange> range;  ///< nothing: the whole file
  std::filesystem::path manifest;  ///< empty: lines on standard output
  /// Fields of a manifest; for a new one each has a default, in an existing one it stays as it is.
  std::optional<std::string> name;
  std::optional<std::string> folder;
  std::optional<std::string> initialize;
  std::optional<std::string> create;
  std::optional<std::string> modelSuffix;
  std::optional<std::uint64_t> counter;
  std::filesystem::path signingKey;  ///< empty: the manifest is not signed
};

/// Reads "OFFSET:LENGTH", two decimal numbers of 32 bits. Returns false for anything else.
[[nodiscard]] bool parseRange(std::string_view text, ByteRange& range);

/// The digest of a range of the file, or of all of it. Throws ToolError if the file does not hold
/// the range, or if it is longer than can be hashed.
ManifestDigest digestFile(const std::filesystem::path& file, const std::optional<ByteRange>& range);

ExitCode digestCommand(const DigestOptions& options);

}  // namespace OMB::tool
