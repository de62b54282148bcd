// How a program of benchmarks starts, and how it fails.
#pragma once

#include <exception>
#include <iostream>
#include <vector>

#include <benchmark/benchmark.h>

namespace OMB::bench {

/// Runs what is registered, as the arguments ask. Returns the exit status: 1 for an argument that
/// is not known.
inline int runBenchmarks(std::vector<char*> arguments) {
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

/// The exit status that `program` gives for the arguments, or 1 with the text of what it throws.
int guarded(int count, char** arguments, const auto& program) {
  try {
    return program({arguments, arguments + count});
  } catch (const std::exception& failure) {
    std::cerr << arguments[0] << ": " << failure.what() << '\n';
    return 1;
  }
}

}  // namespace OMB::bench
