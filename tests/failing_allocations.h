// Memory that runs out where a test wants it to. The program is linked with --wrap of malloc,
// calloc, free and mmap: so all that is linked into it is counted, and what the system's libraries
// take for themselves is not.
#pragma once

#include <atomic>
#include <functional>
#include <string_view>

namespace OMB::test {

/// What no block may hold when it is given back, and how often one did. Empty for nothing.
inline std::string_view secret;
inline std::atomic<long> toldSecrets{0};

/// For what a test's own parts allocate: while one lives, nothing fails in this thread.
struct Spared {
  Spared();
  ~Spared();
};

/// Runs `road` once for each allocation of its thread, that one failing: it returns, or
/// std::bad_alloc leaves it, or the std::length_error of a file whose size was not to be had. After
/// each, `after` is run, with memory enough, and no block may be left. Returns how many there were.
int failEachAllocation(const std::function<void()>& road, const std::function<void()>& after);

}  // namespace OMB::test
