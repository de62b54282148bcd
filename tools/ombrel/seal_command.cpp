#include "seal_command.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <limits>
#include <memory>
#include <span>
#include <system_error>

#include <openssl/evp.h>

#include "ombrel/platform/crypto.h"
#include "ombrel/platform/file_utils.h"

#include "build_constants.h"
#include "key.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

constexpr std::int64_t blockBytes = 16;
constexpr std::size_t chunkBytes = std::size_t{1} << 20;

/// AES-128 in CBC mode, with 1 to 16 trailing bytes that each hold their count.
class Encryptor {
 public:
  explicit Encryptor(const ByteVector& key) : context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free) {
    require(context &&
            EVP_EncryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, key.data(), modelIv));
  }

  std::span<const std::byte> update(std::span<const unsigned char> plain) {
    int length = 0;
    require(EVP_EncryptUpdate(context.get(), sealed.data(), &length, plain.data(),
                              static_cast<int>(plain.size())));
    return written(length);
  }

  std::span<const std::byte> finish() {
    int length = 0;
    require(EVP_EncryptFinal_ex(context.get(), sealed.data(), &length));
    return written(length);
  }

 private:
  static void require(bool done) {
    if (!done) throw ToolError(ExitCode::Failure, "the cryptography library refuses AES-128-CBC");
  }

  std::span<const std::byte> written(int length) const {
    return std::as_bytes(std::span(sealed)).first(static_cast<std::size_t>(length));
  }

  std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context;  // wipes itself
  std::vector<unsigned char> sealed = std::vector<unsigned char>(chunkBytes + blockBytes);
};

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
  const std::array<std::filesystem::path, 2> in = {options.inBase + ".xml",
                                                   options.inBase + ".bin"};
  const std::array<std::filesystem::path, 2> out = {options.outBase + ".xml",
                                                    options.outBase + ".bin"};
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
    std::printf("%s -> %s  %lld bytes\n", in[i].c_str(), out[i].c_str(),
                static_cast<long long>(Utility::fileSize(out[i].string())));
  }
  return ExitCode::Success;
}

}  // namespace OMB::tool
