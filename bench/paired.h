// Two ways to do one thing, measured in turns, so that what disturbs the machine disturbs both.
#pragma once

#include <functional>
#include <vector>

#include <benchmark/benchmark.h>

namespace OMB::bench {

using Work = std::function<void()>;

/// Seconds of both, taken in turns.
class PairedTimes {
 public:
  void add(double ours, double peer);
  /// As the counters of a benchmark: the median of each, and the median of the ratios of
  /// neighbours, ours to the peer's, with the interval that holds the true one in 95 of 100 cases.
  void report(benchmark::State& state) const;

 private:
  std::vector<double> ours, peers, ratios;
};

/// Runs `ours` and `peer` alternately for as long as the benchmark asks, each after a `before` that
/// does not count, and reports their times.
void measurePair(
    benchmark::State& state, const Work& ours, const Work& peer, const Work& before = [] {});

/// The least that the machine needs for the part of the work that can't be left out, as a third
/// counter.
void measureLimit(benchmark::State& state, const Work& call);

}  // namespace OMB::bench
