#include "key.h"

#include <cstring>
#include <string_view>

#include <openssl/crypto.h>

#include "hex.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

constexpr std::string_view option = "--key";

/// Where the digits of the key begin, or null.
char* findKey(std::span<char*> arguments) {
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const std::string_view argument = arguments[i];
    if (argument == "--") return nullptr;
    if (argument == option) return i + 1 < arguments.size() ? arguments[i + 1] : nullptr;
    if (argument.starts_with(option) && argument[option.size()] == '=') {
      return arguments[i] + option.size() + 1;
    }
  }
  return nullptr;
}

}  // namespace

ByteVector parseKey(std::string_view digits) {
  ByteVector key(keyBytes);
  if (decodeHex(digits, key)) return key;
  throw ToolError(ExitCode::BadKey, "the key is not 32 hexadecimal digits (it has " +
                                        std::to_string(digits.size()) + " characters)");
}

ByteVector takeKey(std::span<char*> arguments) {
  char* const digits = findKey(arguments);
  if (digits == nullptr) return {};
  const std::size_t length = std::strlen(digits);
  ByteVector key = parseKey({digits, length});
  OPENSSL_cleanse(digits, length);
  std::memset(digits, '*', length);
  return key;
}

}  // namespace OMB::tool
