// Two ways to do one thing, measured in turns, so that what disturbs the machine disturbs both.
#pragma once

#include <functional>

#include <benchmark/benchmark.h>

namespace OMB::bench {

using Work = std::function<void()>;

/// Runs `ours` and `peer` alternately for as long as the benchmark asks, each after a `before` that
/// does not count. Reports as counters the median seconds of each, and the median of the ratios of
/// neighbours, ours to the peer's, with the interval that holds the true one in 95 of 100 cases.
void measurePair(
    benchmark::State& state, const Work& ours, const Work& peer, const Work& before = [] {});

/// The least that the machine needs for the part of the work that can't be left out, as a third
/// counter.
void measureLimit(benchmark::State& state, const Work& call);

}  // namespace OMB::bench
