#include "engine/shape.h"

#include <algorithm>

namespace InferenceEngine {
namespace {

struct OwnedShape {
  OwnedShape() = default;
  OwnedShape(const OwnedShape&) = delete;
  OwnedShape& operator=(const OwnedShape&) = delete;
  ~OwnedShape() { ov_partial_shape_free(&shape); }

  ov_partial_shape_t shape = {};
};

std::string toText(const ov_dimension_t& dimension) {
  if (isKnown(dimension)) return std::to_string(dimension.min);
  const bool unbounded = dimension.max < 0;
  if (dimension.min == 0 && unbounded) return "?";
  return (dimension.min == 0 ? "" : std::to_string(dimension.min)) + ".." +
         (unbounded ? "" : std::to_string(dimension.max));
}

}  // namespace

Shape shapeOf(const ov_output_const_port_t* port) {
  OwnedShape owned;
  check(ov_port_get_partial_shape(port, &owned.shape));
  if (!isKnown(owned.shape.rank)) return std::nullopt;
  return std::vector<ov_dimension_t>(owned.shape.dims, owned.shape.dims + owned.shape.rank.min);
}

bool isKnown(const Shape& shape) {
  return shape && std::all_of(shape->begin(), shape->end(),
                              [](const ov_dimension_t& dimension) { return isKnown(dimension); });
}

SizeVector dimsOf(const Shape& shape) {
  SizeVector dims;
  if (!shape) return dims;
  for (const ov_dimension_t& dimension : *shape) {
    dims.push_back(isKnown(dimension) ? static_cast<std::size_t>(dimension.min) : 0);
  }
  return dims;
}

std::string toText(const Shape& shape) {
  if (!shape) return "[...]";
  std::string text;
  for (const ov_dimension_t& dimension : *shape) {
    text += (text.empty() ? "" : ",") + toText(dimension);
  }
  return "[" + text + "]";
}

}  // namespace InferenceEngine
