// How long the runs of a benchmark took, put into a few numbers.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace OMB::tool {

/// Times in milliseconds, at least one of them.
class Latencies {
 public:
  explicit Latencies(std::vector<double> milliseconds);

  std::size_t count() const { return sorted.size(); }
  double least() const { return sorted.front(); }
  double greatest() const { return sorted.back(); }
  double mean() const;

  /// The smallest time that `percent` of all runs did not exceed; from 0.1 to 100, in tenths.
  double percentile(double percent) const;

  /// How many lie in each of `bins` parts of equal width from `from` to `to`, of which the first
  /// and the last have those beyond, too.
  std::vector<std::size_t> counts(double from, double to, std::size_t bins) const;

  /// Ten rows of equal width up to the 99th percentile, and one for what took longer.
  std::string histogram() const;

 private:
  std::size_t countUpTo(double limit) const;

  std::vector<double> sorted;
};

}  // namespace OMB::tool
