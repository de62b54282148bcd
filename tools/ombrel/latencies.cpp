#include "latencies.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <utility>

#include "terminal.h"

namespace OMB::tool {
namespace {

constexpr std::size_t rows = 10;
constexpr std::size_t barWidth = 40;

std::string histogramRow(const std::string& range, std::size_t count, std::size_t most) {
  const double part = static_cast<double>(count) / static_cast<double>(most);
  return "  " + range + "  " + drawBar(part, barWidth) + "  " + std::to_string(count) + "\n";
}

std::string formatRange(const char* format, double from, double to) {
  char text[64];
  std::snprintf(text, sizeof text, format, from, to);
  return text;
}

}  // namespace

Latencies::Latencies(std::vector<double> milliseconds) : sorted(std::move(milliseconds)) {
  std::sort(sorted.begin(), sorted.end());
}

double Latencies::mean() const {
  return std::accumulate(sorted.begin(), sorted.end(), 0.0) / static_cast<double>(count());
}

double Latencies::percentile(double percent) const {
  // In whole numbers: 99.9 % of 1000 is the 999th, which binary fractions miss.
  const auto permille = static_cast<std::size_t>(std::llround(percent * 10));
  return sorted[(permille * count() + 999) / 1000 - 1];
}

std::size_t Latencies::countUpTo(double limit) const {
  return static_cast<std::size_t>(std::upper_bound(sorted.begin(), sorted.end(), limit) -
                                  sorted.begin());
}

std::vector<std::size_t> Latencies::counts(double from, double to, std::size_t bins) const {
  std::vector<std::size_t> numbers(bins, 0);
  for (const double time : sorted) {
    const double bin = (time - from) / (to - from) * static_cast<double>(bins);
    ++numbers[static_cast<std::size_t>(std::clamp(bin, 0.0, static_cast<double>(bins - 1)))];
  }
  return numbers;
}

std::string Latencies::histogram() const {
  const double top = percentile(99);
  const double width = (top - least()) / rows;
  std::vector<std::size_t> counts;
  std::size_t below = 0;
  for (std::size_t row = 1; row <= rows; ++row) {
    // The last limit is the percentile itself, whatever the rounding.
    const double limit = row == rows ? top : least() + width * static_cast<double>(row);
    const std::size_t upToLimit = countUpTo(limit);
    counts.push_back(upToLimit - below);
    below = upToLimit;
  }
  const std::size_t most = *std::max_element(counts.begin(), counts.end());
  std::string text;
  for (std::size_t row = 0; row < rows; ++row) {
    const double from = least() + width * static_cast<double>(row);
    text += histogramRow(formatRange("%9.3f - %9.3f", from, from + width), counts[row], most);
  }
  return text + histogramRow(formatRange("%9.3f - %9.3f", top, greatest()), count() - below, most);
}

}  // namespace OMB::tool
