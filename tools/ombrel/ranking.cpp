#include "ranking.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>
#include <sstream>

#include "files.h"

namespace OMB::tool {

Labels readLabels(const std::filesystem::path& file) {
  if (file.empty()) return {};
  std::istringstream lines(readTextFile(file));
  Labels labels;
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with('\r')) line.pop_back();
    labels.push_back(line);
  }
  return labels;
}

std::string labelOf(const Labels& labels, std::size_t index) {
  return index < labels.size() ? labels[index] : "class " + std::to_string(index);
}

std::string valueText(float value) {
  const bool plain = value == 0 || (std::fabs(value) >= 1e-4F && std::fabs(value) < 1e6F);
  char text[64];
  std::snprintf(text, sizeof(text), plain ? "%.4f" : "%.3g", static_cast<double>(value));
  return text;
}

std::vector<std::size_t> bestIndices(std::span<const float> values, std::size_t count) {
  std::vector<std::size_t> indices(values.size());
  std::iota(indices.begin(), indices.end(), std::size_t{0});
  const auto end = indices.begin() + static_cast<std::ptrdiff_t>(std::min(count, indices.size()));
  const auto rank = [&](std::size_t index) {
    return std::isnan(values[index]) ? -std::numeric_limits<float>::infinity() : values[index];
  };
  std::partial_sort(indices.begin(), end, indices.end(), [&](std::size_t left, std::size_t right) {
    return rank(left) > rank(right) || (rank(left) == rank(right) && left < right);
  });
  indices.erase(end, indices.end());
  return indices;
}

}  // namespace OMB::tool
