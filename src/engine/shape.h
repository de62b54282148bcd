// Shapes of a network's inputs and outputs, dimensions that are not known yet included.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/engine_call.h"

namespace InferenceEngine {

/// Nothing where not even the number of dimensions is known.
using Shape = std::optional<std::vector<ov_dimension_t>>;

Shape shapeOf(const ov_output_const_port_t* port);

/// The C interface's own tests take 0 for unknown.
inline bool isKnown(const ov_dimension_t& dimension) {
  return dimension.min == dimension.max;
}
bool isKnown(const Shape& shape);

/// An unknown dimension is 0; no dimensions where their number is unknown.
SizeVector dimsOf(const Shape& shape);

/// As in "[1,3,?,2..5]".
std::string toText(const Shape& shape);

}  // namespace InferenceEngine
