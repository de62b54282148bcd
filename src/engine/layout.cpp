#include "engine/layout.h"

#include <algorithm>
#include <utility>

#include "engine/engine_call.h"

namespace InferenceEngine {
namespace {

using LayoutHandle = Handle<ov_layout_t, ov_layout_free>;

const DeclaredLayout kNchw = {"N", "C", "H", "W"};
constexpr char kAnyNumber[] = "...";

}  // namespace

DeclaredLayout parseLayout(const std::string& declared) {
  DeclaredLayout result;
  if (declared.empty()) return result;
  // Back from the engine it has one form, as in "[N,C,H,W]", and short names for the usual ones.
  const auto layout = made<LayoutHandle>(ov_layout_create, declared.c_str());
  const Text text(ov_layout_to_string(layout.get()));
  std::string name;
  for (const char* c = text == nullptr ? "" : text.get(); *c != '\0'; ++c) {
    if (*c == ',' || *c == ']') {
      result.push_back(std::exchange(name, {}));
    } else if (*c != '[') {
      name += *c;
    }
  }
  return result;
}

std::optional<std::size_t> batchIn(const DeclaredLayout& layout, std::size_t rank) {
  const auto batch = std::find(layout.begin(), layout.end(), "N");
  if (batch == layout.end()) return std::nullopt;
  const auto fromFront = static_cast<std::size_t>(batch - layout.begin());
  const std::size_t fromBack = layout.size() - fromFront;
  const bool behindAny = std::find(layout.begin(), batch, kAnyNumber) != batch;
  if (fromFront >= rank || fromBack > rank) return std::nullopt;
  return behindAny ? rank - fromBack : fromFront;
}

bool isNchw(const DeclaredLayout& layout) {
  return layout == kNchw;
}

bool isOrderOfNchw(const DeclaredLayout& layout) {
  return std::is_permutation(layout.begin(), layout.end(), kNchw.begin(), kNchw.end());
}

}  // namespace InferenceEngine
