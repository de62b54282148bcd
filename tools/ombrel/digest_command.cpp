#include "digest_command.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>
#include <span>

#include "ombrel/platform/file_utils.h"
#include "ombrel/platform/hex.h"

#include "files.h"
#include "progress.h"
#include "signing.h"
#include "system/digest.h"
#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

// What a digest can be computed of in one piece.
constexpr std::int64_t mostBytes = std::numeric_limits<std::int32_t>::max();

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& what) {
  throw ToolError(ExitCode::File, file.string() + " " + what);
}

ByteRange wholeFile(const std::filesystem::path& file, std::int64_t size) {
  if (size > mostBytes) fail(file, "has 2 GiB or more; choose a part of it with --range");
  return {0, static_cast<std::uint32_t>(size)};
}

void requireInside(const std::filesystem::path& file, std::int64_t size, ByteRange range) {
  if (range.length > mostBytes) fail(file, "cannot be hashed over a range of 2 GiB or more");
  if (std::int64_t{range.offset} + range.length > size) {
    fail(file, "has only " + std::to_string(size) + " bytes, the range goes beyond them");
  }
}

/// SHA-256 of a part of a file, which is not held whole.
Sha256 hashPart(const std::filesystem::path& file, ByteRange part) {
  system::Digest sha;
  std::uint32_t length = 0;
  bool works = sha.open() >= 0 && sha.getObjectLength() >= 0 && sha.allocateObject() &&
               sha.getDigestLength(length) >= 0 && sha.allocateDigest() && sha.create() >= 0;
  const std::uint64_t end = std::uint64_t{part.offset} + part.length;
  std::uint64_t seen = 0;
  ByteProgress progress("digested", end);
  readInPieces(
      file,
      [&](std::span<const unsigned char> piece) {
        const std::uint64_t before = part.offset > seen ? part.offset - seen : 0;
        const auto inside = piece.subspan(std::min<std::uint64_t>(before, piece.size()));
        works = works && sha.add(inside.data(), static_cast<std::uint32_t>(inside.size())) >= 0;
        seen += piece.size();
        progress.add(piece.size());
      },
      end);
  requireInside(file, static_cast<std::int64_t>(seen), part);  // it may have become shorter
  Sha256 digest{};
  if (!works || sha.finish() < 0 || length != digest.size()) fail(file, "cannot be hashed");
  std::copy_n(sha.value(), digest.size(), digest.begin());
  return digest;
}

std::string fileName(const std::filesystem::path& library) {
  return library.filename().string();
}

Manifest newManifest(const DigestOptions& options) {
  return {fileName(options.libraries.front()), ".", "Initialize", "Create", ".xml", {}};
}

void replace(std::string& field, const std::optional<std::string>& value) {
  if (value) field = *value;
}

/// A host that has seen the higher one would refuse the new list, and rightly.
void raiseCounter(Manifest& manifest, std::uint64_t counter) {
  if (counter < manifest.counter) {
    throw ToolError(ExitCode::Manifest, "the manifest's counter is " +
                                            std::to_string(manifest.counter) +
                                            " already, and only goes up");
  }
  manifest.counter = counter;
}

void replaceFields(Manifest& manifest, const DigestOptions& options) {
  replace(manifest.name, options.name);
  replace(manifest.folder, options.folder);
  replace(manifest.initialize, options.initialize);
  replace(manifest.create, options.create);
  replace(manifest.modelSuffix, options.modelSuffix);
  if (options.counter) raiseCounter(manifest, *options.counter);
}

/// Adds the digest to the alternatives of the library's entry, which is made if there is none.
void addDigest(Manifest& manifest, const std::string& name, const ManifestDigest& digest,
               const std::string& place) {
  auto& dependencies = manifest.dependencies;
  auto entry = std::find_if(dependencies.begin(), dependencies.end(),
                            [&](const ManifestDependency& known) { return known.name == name; });
  if (entry == dependencies.end()) entry = dependencies.insert(entry, {name, {}});
  entry->file = place;
  if (std::find(entry->hashes.begin(), entry->hashes.end(), digest) == entry->hashes.end()) {
    entry->hashes.push_back(digest);
  }
}

/// The file of that name has one digest: a new one takes the place of the old.
void addFile(Manifest& manifest, const std::filesystem::path& file) {
  const ManifestFile added{fileName(file), digestFile(file, {}).sha256};
  const auto known = std::ranges::find(manifest.files, added.name, &ManifestFile::name);
  if (known != manifest.files.end()) {
    *known = added;
  } else {
    manifest.files.push_back(added);
  }
}

void printDigests(const DigestOptions& options) {
  for (const std::filesystem::path& library : options.libraries) {
    const ManifestDigest digest = digestFile(library, options.range);
    std::printf("%s  %u:%u  %s\n", Utility::encodeHex(digest.sha256).c_str(), digest.offset,
                digest.length, library.string().c_str());
  }
}

/// What is written is read back first, so that no field can be given that `run` would refuse.
std::string checkedText(const Manifest& manifest) {
  try {
    std::string text = formatManifest(manifest);
    (void)parseManifest(text);
    return text;
  } catch (const ManifestError& error) {
    throw ToolError(ExitCode::Manifest, error.what());
  }
}

/// As it stands, whoever signed it: this is where it is changed.
Manifest readOrMake(const DigestOptions& options) {
  if (std::filesystem::exists(options.manifest)) {
    try {
      return parseManifest(readTextFile(options.manifest));
    } catch (const ManifestError& error) {
      throw ToolError(ExitCode::Manifest, options.manifest.string() + ": " + error.what());
    }
  }
  if (options.libraries.empty()) {
    throw ToolError(ExitCode::File, "cannot open " + options.manifest.string());
  }
  return newManifest(options);
}

void write(const std::string& text, const DigestOptions& options) {
  std::filesystem::path signaturePlace = options.manifest;
  signaturePlace += ".sig";
  PendingFile file(options.manifest);
  file.write(text);
  if (!options.signingKey.empty()) {
    const system::Signature signature = signText(text, options.signingKey);
    PendingFile signatureFile(signaturePlace);
    signatureFile.write(std::as_bytes(std::span(signature)));
    commitTogether({&signatureFile, &file});
    return;
  }
  file.commit();
  if (std::filesystem::exists(signaturePlace)) {
    std::fprintf(stderr, "ombrel: warning: %s is of the manifest as it was; sign with --sign\n",
                 signaturePlace.string().c_str());
  }
}

void writeManifest(const DigestOptions& options) {
  Manifest manifest = readOrMake(options);
  replaceFields(manifest, options);
  for (const std::filesystem::path& library : options.libraries) {
    addDigest(manifest, fileName(library), digestFile(library, options.range), {});
  }
  const std::filesystem::path folder = pathOf(pluginFolder(options.manifest.string(), manifest));
  for (const std::filesystem::path& library : options.outside) {
    const auto place = std::filesystem::absolute(library).lexically_proximate(folder);
    addDigest(manifest, fileName(library), digestFile(library, {}), place.generic_string());
  }
  for (const std::filesystem::path& file : options.files) addFile(manifest, file);
  manifest.closed = manifest.closed || options.closed;
  write(checkedText(manifest), options);
  std::printf("%s: %zu libraries\n", options.manifest.string().c_str(),
              manifest.dependencies.size());
}

}  // namespace

bool parseRange(std::string_view text, ByteRange& range) {
  const char* const end = text.data() + text.size();
  const auto offset = std::from_chars(text.data(), end, range.offset);
  if (offset.ec != std::errc() || offset.ptr == end || *offset.ptr != ':') return false;
  const auto length = std::from_chars(offset.ptr + 1, end, range.length);
  return length.ec == std::errc() && length.ptr == end;
}

ManifestDigest digestFile(const std::filesystem::path& file,
                          const std::optional<ByteRange>& range) {
  const std::int64_t size = Utility::fileSize(file.string());
  if (size < 0) fail(file, "cannot be opened");
  if (size == 0) fail(file, "is empty, and an empty library is never accepted");
  const ByteRange part = range ? *range : wholeFile(file, size);
  requireInside(file, size, part);

  return {hashPart(file, part), part.offset, part.length};
}

ExitCode digestCommand(const DigestOptions& options) {
  if (options.libraries.empty() && options.signingKey.empty()) {
    throw ToolError(ExitCode::Usage, "LIBRARY is required, but to sign a manifest as it is");
  }
  if (options.manifest.empty()) {
    printDigests(options);
  } else {
    writeManifest(options);
  }
  return ExitCode::Success;
}

}  // namespace OMB::tool
