#include "platform/console.h"

#include <cstdarg>
#include <cwchar>
#include <string>

#include "system/stream_text.h"
#include "system/text.h"

namespace OMB::console {
namespace {

std::string formatted(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) return {};
  std::string text(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

// There is no call that tells the length of wide formatted text. Ours are lines.
std::wstring formatted(const wchar_t* format, std::va_list arguments) {
  std::wstring text(1024, L'\0');
  const int length = std::vswprintf(text.data(), text.size(), format, arguments);
  text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return text;
}

}  // namespace

void printOut(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  system::writeText(stdout, formatted(format, arguments));
  va_end(arguments);
}

void printError(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  system::writeText(stderr, formatted(format, arguments));
  va_end(arguments);
}

void printOut(const wchar_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  system::writeText(stdout, system::to_utf8(formatted(format, arguments)));
  va_end(arguments);
}

}  // namespace OMB::console
