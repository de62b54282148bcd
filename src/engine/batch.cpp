#include "engine/batch.h"

#include <algorithm>

namespace InferenceEngine {
namespace {

enum class Sign { none, rank, imageRank, declared };  // the later, the surer

struct Candidate {
  Sign sign = Sign::none;
  std::size_t dimension = 0;
};

Candidate candidateIn(const BatchInput& input) {
  if (!input.shape) return {};
  const std::size_t rank = input.shape->size();
  if (!input.layout.empty()) {
    const auto declared = batchIn(input.layout, rank);
    return declared ? Candidate{Sign::declared, *declared} : Candidate{};
  }
  if (rank >= 4) return {Sign::imageRank, 0};
  return {rank == 2 ? Sign::rank : Sign::none, 0};
}

bool agree(const ov_dimension_t& dimension, const ov_dimension_t& batch) {
  return !isKnown(dimension) || (dimension.min == batch.min && dimension.max == batch.max);
}

}  // namespace

std::vector<std::optional<std::size_t>> batchDimensions(const std::vector<BatchInput>& inputs) {
  std::vector<std::optional<std::size_t>> result(inputs.size());
  std::vector<Candidate> candidates;
  for (const BatchInput& input : inputs) candidates.push_back(candidateIn(input));
  const auto surest =
      std::max_element(candidates.begin(), candidates.end(),
                       [](const auto& one, const auto& other) { return one.sign < other.sign; });
  if (surest == candidates.end() || surest->sign == Sign::none) return result;
  const BatchInput& leading = inputs[static_cast<std::size_t>(surest - candidates.begin())];
  const ov_dimension_t batch = (*leading.shape)[surest->dimension];
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    const auto [sign, dimension] = candidates[i];
    if (sign == Sign::none) continue;
    if (sign == Sign::declared || agree((*inputs[i].shape)[dimension], batch))
      result[i] = dimension;
  }
  return result;
}

}  // namespace InferenceEngine
