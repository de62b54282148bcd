#include "seal_command.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <span>
#include <system_error>

#include "ombrel/model/authentication.h"
#include "ombrel/platform/file_utils.h"

#include "authenticate_command.h"
#include "encryptor.h"
#include "key.h"
#include "progress.h"
#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

constexpr std::int64_t blockBytes = 16;

std::string missing(const std::filesystem::path& file) {
  return "cannot open " + file.string();
}

/// The backend's lengths of sealed files are signed 32-bit integers.
void requireLength(const std::filesystem::path& file, std::int64_t size) {
  if (size < 0) throw ToolError(ExitCode::File, missing(file));
  const std::int64_t sealedSize = (size / blockBytes + 1) * blockBytes;
  if (sealedSize <= std::numeric_limits<std::int32_t>::max()) return;
  throw ToolError(ExitCode::File, file.string() + " has " + std::to_string(size) +
                                      " bytes; a sealed file must stay below 2 GiB, since the "
                                      "backend cannot read a longer one");
}

/// Names of both files, and whether they are one: a link counts as what it leads to.
void requireDistinct(const std::filesystem::path& in, const std::filesystem::path& out) {
  std::error_code none;
  if (in != out && !std::filesystem::equivalent(in, out, none)) return;
  throw ToolError(ExitCode::File, "will not overwrite the input " + in.string());
}

/// The way of a sealed file's bytes, into the file and under the tags.
Sink into(PendingFile& file, ModelAuthenticator& tags, EModelFile which, ByteProgress& progress) {
  return [&file, &tags, which, &progress](std::span<const std::byte> bytes) {
    file.write(bytes);
    progress.add(bytes.size());
    tags.Add(which, {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
  };
}

}  // namespace

void sealFile(const std::filesystem::path& in, const Sink& out, const ByteVector& key) {
  requireLength(in, Utility::fileSize(in.string()));
  Encryptor encryptor(effectiveKey(key));
  std::int64_t size = 0;
  readInPieces(in, [&](std::span<const unsigned char> plain) {
    size += static_cast<std::int64_t>(plain.size());
    out(encryptor.update(plain));
  });
  // A file that grew meanwhile.
  requireLength(in, size);
  out(encryptor.finish());
}

void sealFile(const std::filesystem::path& in, PendingFile& out, const ByteVector& key) {
  sealFile(
      in, [&out](std::span<const std::byte> bytes) { out.write(bytes); }, key);
}

void sealPair(const std::string& inBase, const std::string& outBase, const ByteVector& key) {
  const std::filesystem::path in[] = {pathOf(inBase + ".xml"), pathOf(inBase + ".bin")};
  const std::filesystem::path out[] = {pathOf(outBase + ".xml"), pathOf(outBase + ".bin"),
                                       pathOf(outBase + kTagsSuffix)};
  std::uint64_t total = 0;
  for (const auto& input : in) {
    for (const auto& output : out) requireDistinct(input, output);
    const std::int64_t size = Utility::fileSize(input.string());
    requireLength(input, size);
    total += static_cast<std::uint64_t>(size);
  }
  PendingFile text(out[0]), weights(out[1]), tags(out[2]);
  const ByteVector tagsKey = effectiveKey(key);
  ModelAuthenticator authenticator(tagsKey.data(), static_cast<int>(tagsKey.size()));
  ByteProgress progress("sealed", total);
  sealFile(in[0], into(text, authenticator, EModelFile::TEXT, progress), key);
  sealFile(in[1], into(weights, authenticator, EModelFile::WEIGHTS, progress), key);
  writeTags(authenticator, tags);
  // The tags first: whatever ends the program in between leaves none that a load would pass by.
  commitTogether({&tags, &weights, &text});
}

ExitCode sealCommand(SealOptions& options) {
  sealPair(options.inBase, options.outBase, options.key);
  options.key.clear();
  for (const std::string suffix : {".xml", ".bin"}) {
    const std::filesystem::path out = pathOf(options.outBase + suffix);
    std::printf("%s -> %s  %lld bytes\n", pathOf(options.inBase + suffix).string().c_str(),
                out.string().c_str(), static_cast<long long>(Utility::fileSize(out.string())));
  }
  std::printf("%s: the tags that prove it\n",
              pathOf(options.outBase + kTagsSuffix).string().c_str());
  return ExitCode::Success;
}

}  // namespace OMB::tool
