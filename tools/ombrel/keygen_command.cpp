#include "keygen_command.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <span>
#include <unistd.h>

#include "ombrel/platform/byte_vector.h"
#include "ombrel/platform/hex.h"

#include "descriptor.h"
#include "key.h"
#include "process_memory.h"
#include "signing.h"
#include "system/random.h"
#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

ByteVector makeKey(std::size_t size) {
  ByteVector key(size);
  if (system::fillWithRandom(key) >= 0) return key;
  throw ToolError(ExitCode::Failure, "the system has no random numbers");
}

ByteVector lineOf(std::span<const unsigned char> key) {
  ByteVector line(2 * key.size() + 1, '\n');
  Utility::encodeHex(key, reinterpret_cast<char*>(line.data()));
  return line;
}

void writeNew(const std::filesystem::path& place, const ByteVector& line, Readers readers) {
  Descriptor file(openToWrite(place, Existing::Refused, readers));
  if (!file) {
    throw ToolError(ExitCode::File, "cannot make " + place.string() + ": " + std::strerror(errno));
  }
  const int size = static_cast<int>(line.size());
  const bool written = write(file.get(), line.data(), static_cast<unsigned int>(size)) == size &&
                       sync(file.get()) && file.close();
  if (!written) {
    const std::string reason = std::strerror(errno);
    std::error_code ignored;
    std::filesystem::remove(place, ignored);  // half a key is none
    throw ToolError(ExitCode::File, "cannot write " + place.string() + ": " + reason);
  }
  syncFolderOf(place);
}

void makeModelKey(const std::filesystem::path& place) {
  writeNew(place, lineOf(makeKey(kKeyBytes)), Readers::Owner);
  std::printf("%s: a new key; keep a copy of it, nothing else opens what it seals\n",
              place.string().c_str());
}

void makeSigningKey(const std::filesystem::path& place) {
  const ByteVector random = makeKey(kSigningKeyBytes);
  const auto publicKey = system::publicKeyOf(SigningSeed(random).get());
  if (!publicKey) throw ToolError(ExitCode::Failure, "the key cannot be made");
  std::filesystem::path publicPlace = place;
  publicPlace += ".pub";
  writeNew(publicPlace, lineOf(*publicKey), Readers::Any);
  try {
    writeNew(place, lineOf(random), Readers::Owner);
  } catch (const ToolError&) {
    std::error_code ignored;
    std::filesystem::remove(publicPlace, ignored);
    throw;
  }
  std::printf(
      "%s: a new key for signing; whoever has it decides what your hosts load\n"
      "%s: its public half, for OMBREL_TRUSTED_KEY and --trust\n",
      place.string().c_str(), publicPlace.string().c_str());
}

}  // namespace

ExitCode keygenCommand(const KeygenOptions& options) {
  keepMemoryPrivate();
  if (!options.model.empty()) makeModelKey(options.model);
  if (!options.signing.empty()) makeSigningKey(options.signing);
  return ExitCode::Success;
}

}  // namespace OMB::tool
