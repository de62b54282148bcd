#include "keygen_command.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "ombrel/platform/byte_vector.h"
#include "ombrel/platform/hex.h"

#include "descriptor.h"
#include "key.h"
#include "process_memory.h"
#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

constexpr int kLineBytes = 2 * int{kKeyBytes} + 1;

ByteVector makeKeyLine() {
  ByteVector key(kKeyBytes);
  if (!fillWithRandom(key)) {
    throw ToolError(ExitCode::Failure, "the system has no random numbers");
  }
  ByteVector line(kLineBytes, '\n');
  Utility::encodeHex(key, reinterpret_cast<char*>(line.data()));
  return line;
}

}  // namespace

ExitCode keygenCommand(const std::filesystem::path& modelKey) {
  keepMemoryPrivate();
  const ByteVector line = makeKeyLine();
  Descriptor file(openToWrite(modelKey, Existing::Refused, Readers::Owner));
  if (!file) {
    throw ToolError(ExitCode::File,
                    "cannot make " + modelKey.string() + ": " + std::strerror(errno));
  }
  const bool written =
      write(file.get(), line.data(), kLineBytes) == kLineBytes && sync(file.get()) && file.close();
  if (!written) {
    std::error_code ignored;
    std::filesystem::remove(modelKey, ignored);  // half a key is none
    throw ToolError(ExitCode::File, "cannot write " + modelKey.string());
  }
  syncFolderOf(modelKey);
  std::printf("%s: a new key; keep a copy of it, nothing else opens what it seals\n",
              modelKey.string().c_str());
  return ExitCode::Success;
}

}  // namespace OMB::tool
