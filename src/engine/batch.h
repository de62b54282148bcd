// Which dimension of each input is its batch.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "engine/layout.h"
#include "engine/shape.h"

namespace InferenceEngine {

struct BatchInput {
  DeclaredLayout layout;
  Shape shape;
};

/// The batch dimension of each of a network's inputs, which come in the order of their names. A
/// declared layout says which it is, or that there is none. Where nothing is declared it is
/// dimension 0 of an input of rank 2 or of rank 4 and more, but only where that one is as large as
/// the network's batch, or unknown: a table that goes in beside an image keeps its rows. The
/// network's batch is that of the first input that declares one, else of the first image, else of
/// the first.
std::vector<std::optional<std::size_t>> batchDimensions(const std::vector<BatchInput>& inputs);

}  // namespace InferenceEngine
