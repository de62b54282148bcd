#include "paired.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace OMB::bench {
namespace {

double secondsOf(const Work& call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                   values.end());
  return values[values.size() / 2];
}

/// The ends of the interval that holds the true median in 95 of 100 cases, by the ranks of the
/// values.
std::pair<double, double> medianInterval(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const auto count = static_cast<double>(values.size());
  const auto spread = static_cast<std::size_t>(0.98 * std::sqrt(count));
  const std::size_t middle = values.size() / 2;
  const std::size_t low = middle > spread ? middle - spread : 0;
  return {values[low], values[std::min(middle + spread, values.size() - 1)]};
}

}  // namespace

void PairedTimes::add(double ourSeconds, double peerSeconds) {
  ours.push_back(ourSeconds);
  peers.push_back(peerSeconds);
  ratios.push_back(ourSeconds / peerSeconds);
}

void PairedTimes::report(benchmark::State& state) const {
  const auto [low, high] = medianInterval(ratios);
  state.counters["ours_s"] = median(ours);
  state.counters["peer_s"] = median(peers);
  state.counters["ratio"] = median(ratios);
  state.counters["ratio_low"] = low;
  state.counters["ratio_high"] = high;
}

void measurePair(benchmark::State& state, const Work& ours, const Work& peer, const Work& before) {
  // Neither pays for what first calls do: it takes some until large blocks come from warm memory.
  for (int i = 0; i < 8; ++i) {
    ours();
    peer();
  }
  PairedTimes times;
  bool oursFirst = false;
  for (auto iteration : state) {
    (void)iteration;
    oursFirst = !oursFirst;
    before();
    double first = oursFirst ? secondsOf(ours) : secondsOf(peer);
    before();
    double second = oursFirst ? secondsOf(peer) : secondsOf(ours);
    if (!oursFirst) std::swap(first, second);
    times.add(first, second);
    state.SetIterationTime(first + second);
  }
  times.report(state);
}

void measureLimit(benchmark::State& state, const Work& call) {
  call();
  std::vector<double> seconds;
  for (int i = 0; i < 5; ++i) seconds.push_back(secondsOf(call));
  state.counters["limit_s"] = median(seconds);
}

}  // namespace OMB::bench
