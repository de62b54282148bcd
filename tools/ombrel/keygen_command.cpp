#include "keygen_command.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <openssl/rand.h>

#include "ombrel/platform/byte_vector.h"
#include "ombrel/platform/hex.h"

#include "descriptor.h"
#include "files.h"
#include "key.h"
#include "process_memory.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

ByteVector makeKeyLine() {
  ByteVector key(kKeyBytes);
  if (RAND_priv_bytes(key.data(), static_cast<int>(key.size())) != 1) {
    throw ToolError(ExitCode::Failure, "the system has no random numbers");
  }
  ByteVector line(2 * kKeyBytes + 1, '\n');
  Utility::encodeHex(key, reinterpret_cast<char*>(line.data()));
  return line;
}

}  // namespace

ExitCode keygenCommand(const std::filesystem::path& modelKey) {
  keepMemoryPrivate();
  const ByteVector line = makeKeyLine();
  Descriptor file;
  file.create(modelKey.c_str(), O_EXCL, 0600);
  if (!file) {
    throw ToolError(ExitCode::File,
                    "cannot make " + modelKey.string() + ": " + std::strerror(errno));
  }
  const bool written =
      write(file.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size()) &&
      fsync(file.get()) == 0 && file.close();
  if (!written) {
    (void)unlink(modelKey.c_str());  // half a key is none
    throw ToolError(ExitCode::File, "cannot write " + modelKey.string());
  }
  syncFolderOf(modelKey);
  std::printf("%s: a new key; keep a copy of it, nothing else opens what it seals\n",
              modelKey.c_str());
  return ExitCode::Success;
}

}  // namespace OMB::tool
