#include "engine/xml_start.h"

#include <algorithm>

namespace InferenceEngine {
namespace {

/// Takes what it is asked for off the front of a text.
class Front {
 public:
  explicit Front(std::string_view text) : rest_(text) {}

  bool take(std::string_view token) {
    if (rest_.substr(0, token.size()) != token) return false;
    rest_.remove_prefix(token.size());
    return true;
  }

  /// Whether there was at least one.
  bool takeAll(std::string_view characters) {
    const std::size_t count = std::min(rest_.find_first_not_of(characters), rest_.size());
    rest_.remove_prefix(count);
    return count > 0;
  }

  bool takeUntil(std::string_view token) {
    const std::size_t found = rest_.find(token);
    if (found == std::string_view::npos) return false;
    rest_.remove_prefix(found + token.size());
    return true;
  }

 private:
  std::string_view rest_;
};

constexpr std::string_view blanks = " \t\r\n";

bool takeVersion(Front& front) {
  if (!front.takeAll(blanks) || !front.take("version")) return false;
  front.takeAll(blanks);
  if (!front.take("=")) return false;
  front.takeAll(blanks);
  for (const std::string_view quote : {"\"", "'"}) {
    if (!front.take(quote)) continue;
    return front.take("1.") && front.takeAll("0123456789") && front.take(quote);
  }
  return false;
}

}  // namespace

bool startsAsXml(std::string_view text) {
  Front front(text);
  front.take("\xEF\xBB\xBF");
  front.takeAll(blanks);
  if (front.take("<?xml")) {
    if (!takeVersion(front) || !front.takeUntil("?>")) return false;
    front.takeAll(blanks);
    return front.take("<");
  }
  return front.take("<!") || (front.take("<net") && (front.takeAll(blanks) || front.take(">")));
}

}  // namespace InferenceEngine
