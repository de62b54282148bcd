// The layout that a network declares for an input: what each dimension is, in order.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace InferenceEngine {

/// The dimensions' names, "..." standing for any number of them; empty where nothing is declared.
using DeclaredLayout = std::vector<std::string>;

/// Reads it as a network's text has it, in any form that the engine knows.
DeclaredLayout parseLayout(const std::string& declared);

/// Which dimension is the batch, in a shape of that many.
std::optional<std::size_t> batchIn(const DeclaredLayout& layout, std::size_t rank);

bool isNchw(const DeclaredLayout& layout);

/// Whether it has the dimensions of NCHW, in whatever order.
bool isOrderOfNchw(const DeclaredLayout& layout);

}  // namespace InferenceEngine
