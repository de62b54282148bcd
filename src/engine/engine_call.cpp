#include "engine/engine_call.h"

#include <new>

namespace InferenceEngine {
namespace {

constexpr std::string_view kNoMemory = "std::bad_alloc";

bool isBlank(char c) {
  const auto code = static_cast<unsigned char>(c);
  return code <= ' ' || code == 0x7F;
}

}  // namespace

std::string oneLine(std::string_view text) {
  std::string line;
  for (const char c : text) {
    if (!isBlank(c)) {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  if (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

void fail(std::string_view text) {
  throw GeneralError(oneLine(text));
}

void check(ov_status_e status) {
  if (status == OK) return;
  const Text kept(ov_get_last_err_msg());
  std::string text = oneLine(kept != nullptr ? kept.get() : "");
  // The engine catches it like any exception, and leaves it the end of what it tells.
  if (text.ends_with(kNoMemory)) throw std::bad_alloc();
  if (text.empty()) text = oneLine(ov_get_error_info(status));
  throw GeneralError(text);
}

}  // namespace InferenceEngine
