#include "system/stream_text.h"

#include <cwchar>

#include "system/text.h"

namespace OMB::system {

// A C stream is narrow or wide from its first use on, and drops what comes in the other form.
void writeText(std::FILE* stream, const std::string& text) {
  flockfile(stream);
  if (std::fwide(stream, 0) <= 0) {
    std::fwrite(text.data(), 1, text.size(), stream);
  } else {
    for (const wchar_t character : to_wide(text)) {
      if (std::fputwc(character, stream) == WEOF) std::fputwc(L'?', stream);  // not in this locale
    }
  }
  funlockfile(stream);
}

}  // namespace OMB::system
