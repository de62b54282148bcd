#include "system/stream_text.h"

#include <algorithm>
#include <cwchar>

namespace OMB::system {
namespace {

bool isAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

// A stream that was set to Unicode takes wide characters only, and can't be asked whether it was.
// ASCII goes out in that form, which any stream takes; other text as the UTF-8 that it is.
void writeText(std::FILE* stream, const std::string& text) {
  if (isAscii(text)) {
    std::fputws(std::wstring(text.begin(), text.end()).c_str(), stream);
  } else {
    std::fwrite(text.data(), 1, text.size(), stream);
  }
}

}  // namespace OMB::system
