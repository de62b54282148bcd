// Which classes a network holds for the best, in words.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace OMB::tool {

/// Names of the classes, in their order. There may be fewer than classes.
using Labels = std::vector<std::string>;

/// One label a line; none where no file is named. Throws ToolError.
Labels readLabels(const std::filesystem::path& file);

/// The label, or what stands for one.
std::string labelOf(const Labels& labels, std::size_t index);

/// A value as it is shown.
std::string valueText(float value);

/// The `count` best values' indices, the best first. NaN is worse than any number.
std::vector<std::size_t> bestIndices(std::span<const float> values, std::size_t count);

}  // namespace OMB::tool
