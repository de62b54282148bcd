#include "key.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <utility>

#include "ombrel/platform/crypto.h"
#include "ombrel/platform/hex.h"

#include "build_constants.h"
#include "descriptor.h"
#include "files.h"
#include "process_memory.h"
#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

constexpr std::string_view kOption = "--key";

/// Where the digits of a key begin, if the argument `at` says that it is one; or null.
char* digitsAt(std::span<char*> arguments, std::size_t at) {
  const std::string_view argument = arguments[at];
  if (argument == kOption) return at + 1 < arguments.size() ? arguments[at + 1] : nullptr;
  if (!argument.starts_with(kOption) || argument[kOption.size()] != '=') return nullptr;
  return arguments[at] + kOption.size() + 1;
}

void requirePrivate(const Descriptor& file, const std::string& name) {
  if (!isOpenToOthers(file.get())) return;
  throw ToolError(ExitCode::BadKey,
                  "others may read the key in " + name + "; take that away with chmod 600 " + name);
}

/// All that comes, up to the size of the buffer. Read without a stream, whose buffer would be a
/// copy.
std::size_t readAll(const Descriptor& file, std::span<unsigned char> buffer,
                    const std::string& name) {
  std::size_t done = 0;
  while (done < buffer.size()) {
    const auto got =
        read(file.get(), buffer.data() + done, static_cast<unsigned int>(buffer.size() - done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0)
      throw ToolError(ExitCode::File,
                      "cannot read the key from " + name + ": " + std::strerror(errno));
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

ByteVector takeVariable(const std::string& name) {
  char* const digits = std::getenv(name.c_str());
  if (digits == nullptr) {
    throw ToolError(ExitCode::BadKey, "the environment has no variable " + name);
  }
  const std::size_t length = std::strlen(digits);
  ByteVector key = parseKey({digits, length});
  wipe(digits, length);  // what the system shows of a process is this memory
  removeVariable(name.c_str());
  return key;
}

}  // namespace

ByteVector parseKey(std::string_view digits, std::size_t size) {
  ByteVector key(size);
  if (Utility::decodeHex(digits, key)) return key;
  throw ToolError(ExitCode::BadKey,
                  "the key is not " + std::to_string(2 * size) + " hexadecimal digits");
}

ByteVector readKeyFile(const std::filesystem::path& place, std::size_t size) {
  const bool standardInput = place == "-";
  const std::string name = standardInput ? "standard input" : place.string();
  const Descriptor file(standardInput ? dup(STDIN_FILENO) : openToRead(place));
  if (!file)
    throw ToolError(ExitCode::File, "cannot open the key in " + name + ": " + std::strerror(errno));
  if (!standardInput) requirePrivate(file, name);
  ByteVector text(2 * size + 3);  // the end of a line, and one character to tell a longer one by
  text.resize(readAll(file, text, name));
  if (!text.empty() && text.back() == '\n') text.pop_back();
  if (!text.empty() && text.back() == '\r') text.pop_back();
  return parseKey({reinterpret_cast<const char*>(text.data()), text.size()}, size);
}

PublicKey readPublicKey(const std::filesystem::path& file) {
  std::string digits = readTextFile(file);
  digits.resize(digits.find_last_not_of("\r\n") + 1);
  PublicKey key;
  if (Utility::decodeHex(digits, key)) return key;
  throw ToolError(ExitCode::BadKey, file.string() + " is no public key of 64 hexadecimal digits");
}

ByteVector effectiveKey(const ByteVector& key) {
  return Crypto::effectiveKey(key.data(), static_cast<int>(kKeyBytes), keyMask);
}

ByteVector takeKey(std::span<char*> arguments) {
  ByteVector key;
  for (std::size_t i = 1; i < arguments.size() && std::string_view(arguments[i]) != "--"; ++i) {
    char* const digits = digitsAt(arguments, i);
    if (digits == nullptr) continue;
    keepMemoryPrivate();
    const std::size_t length = std::strlen(digits);
    key = parseKey({digits, length});
    wipe(digits, length);
    std::memset(digits, '*', length);
  }
  return key;
}

ByteVector fetchKey(KeySource& source) {
  if (!source.isSet()) return {};
  keepMemoryPrivate();
  if (!source.file.empty()) return readKeyFile(source.file, kKeyBytes);
  if (!source.variable.empty()) return takeVariable(source.variable);
  return std::exchange(source.given, {});
}

}  // namespace OMB::tool
