#include "program.h"

#include <exception>
#include <iostream>

#include <benchmark/benchmark.h>

namespace OMB::bench {

int runBenchmarks(Arguments arguments) {
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

int guarded(int count, char** arguments, int (*program)(Arguments)) {
  try {
    return program({arguments, arguments + count});
  } catch (const std::exception& failure) {
    std::cerr << arguments[0] << ": " << failure.what() << '\n';
    return 1;
  }
}

}  // namespace OMB::bench
