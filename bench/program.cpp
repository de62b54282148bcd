#include "program.h"

#include <exception>
#include <iostream>
#include <stdexcept>
#include <string_view>

#include <benchmark/benchmark.h>

namespace OMB::bench {

int runBenchmarks(Arguments arguments) {
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

std::string takeDemo(Arguments& arguments) {
  if (arguments.size() < 3 || std::string_view(arguments[1]) != "--demo") {
    throw std::invalid_argument("usage: --demo FOLDER [--benchmark_...]");
  }
  std::string folder = arguments[2];
  arguments.erase(arguments.begin() + 1, arguments.begin() + 3);
  return folder;
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
