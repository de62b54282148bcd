#include "engine/nested_bodies.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "engine/engine_call.h"

namespace InferenceEngine {
namespace {

constexpr std::size_t kMostBodies = 64;

// Stops at the first body that is too deep. A body has several names, its list of layers has one;
// the outermost list is the network's own. What walks the tree does not recurse.
class BodyCounter final : public pugi::xml_tree_walker {
 public:
  bool for_each(pugi::xml_node& node) override {
    while (!open.empty() && open.back() >= depth()) open.pop_back();
    if (std::strcmp(node.name(), "layers") == 0) open.push_back(depth());
    return open.size() <= kMostBodies + 1;
  }

 private:
  std::vector<int> open;  // depths of the lists around the node
};

}  // namespace

void requireShallowBodies(pugi::xml_node document) {
  BodyCounter counter;
  if (document.traverse(counter)) return;
  fail("The network's text nests bodies more than " + std::to_string(kMostBodies) + " deep");
}

}  // namespace InferenceEngine
