#include "seal_command.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <limits>
#include <span>
#include <system_error>

#include "ombrel/platform/crypto.h"
#include "ombrel/platform/file_utils.h"

#include "build_constants.h"
#include "encryptor.h"
#include "key.h"
#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

constexpr std::int64_t blockBytes = 16;
constexpr std::size_t chunkBytes = std::size_t{1} << 20;

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

}  // namespace

void sealFile(const std::filesystem::path& in, PendingFile& out, const ByteVector& key) {
  requireLength(in, Utility::fileSize(in.string()));
  std::ifstream source(in, std::ios::binary);
  if (!source) throw ToolError(ExitCode::File, missing(in));
  Encryptor encryptor(Crypto::effectiveKey(key.data(), static_cast<int>(kKeyBytes), keyMask));
  ByteVector plain(chunkBytes);
  std::int64_t size = 0;
  while (source) {
    source.read(reinterpret_cast<char*>(plain.data()), static_cast<std::streamsize>(plain.size()));
    size += source.gcount();
    out.write(encryptor.update(std::span(plain).first(static_cast<std::size_t>(source.gcount()))));
  }
  if (source.bad()) throw ToolError(ExitCode::File, "cannot read " + in.string());
  // A file that grew meanwhile.
  requireLength(in, size);
  out.write(encryptor.finish());
}

ExitCode sealCommand(SealOptions& options) {
  const std::array<std::filesystem::path, 2> in = {pathOf(options.inBase + ".xml"),
                                                   pathOf(options.inBase + ".bin")};
  const std::array<std::filesystem::path, 2> out = {pathOf(options.outBase + ".xml"),
                                                    pathOf(options.outBase + ".bin")};
  for (const auto& input : in) {
    for (const auto& output : out) requireDistinct(input, output);
    requireLength(input, Utility::fileSize(input.string()));
  }
  PendingFile text(out[0]);
  PendingFile weights(out[1]);
  sealFile(in[0], text, options.key);
  sealFile(in[1], weights, options.key);
  options.key.clear();
  commitPair(weights, text);
  for (std::size_t i = 0; i < in.size(); ++i) {
    std::printf("%s -> %s  %lld bytes\n", in[i].string().c_str(), out[i].string().c_str(),
                static_cast<long long>(Utility::fileSize(out[i].string())));
  }
  return ExitCode::Success;
}

}  // namespace OMB::tool
