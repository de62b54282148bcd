// How a program of benchmarks starts, and how it fails.
#pragma once

#include <string>
#include <vector>

namespace OMB::bench {

using Arguments = std::vector<char*>;

/// Runs what is registered, as the arguments ask. Returns the exit status: 1 for an argument that
/// is not known.
int runBenchmarks(Arguments arguments);

/// Takes `--demo FOLDER` out of the arguments. Throws std::invalid_argument with the usage.
std::string takeDemo(Arguments& arguments);

/// The exit status that `program` gives for the arguments, or 1 with the text of what it throws.
int guarded(int count, char** arguments, int (*program)(Arguments));

}  // namespace OMB::bench
