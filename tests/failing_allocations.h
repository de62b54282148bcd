// Memory that runs out where a test wants it to.
#pragma once

#include <cstddef>
#include <new>
#include <stdexcept>

#include <gtest/gtest.h>

namespace OMB::test {

/// Everything that this program allocates is counted: by operator new, by malloc, calloc and mmap
/// of the code that is linked into it, and by libcrypto. What the system's libraries take for
/// themselves is not. Threads: each counts for itself.
class Allocations {
 public:
  /// Makes allocation `number` of this thread fail, counted from 1; 0 for none.
  static void failAt(int number);
  /// Whether that allocation has come, and failed.
  static bool failed();
  /// Blocks that are allocated now, libcrypto's aside, as that keeps texts of its errors.
  static long live();
};

/// For what a test's own parts allocate: while one lives, nothing fails in this thread.
class SparedAllocations {
 public:
  SparedAllocations();
  ~SparedAllocations();
  SparedAllocations(const SparedAllocations&) = delete;
  SparedAllocations& operator=(const SparedAllocations&) = delete;
};

/// Runs `road` once for each of its allocations, that one failing: it returns, or std::bad_alloc
/// or std::length_error leaves it. After each, `after` is run, with memory enough. Returns how many
/// allocations there were; blocks that are still there are a failure of the test.
template <typename Road, typename After>
int failEachAllocation(Road road, After after) {
  road();  // fills what is made once and kept
  after();
  for (int number = 1;; ++number) {
    SCOPED_TRACE(number);
    const long before = Allocations::live();
    bool thrown = false;
    Allocations::failAt(number);
    try {
      road();
    } catch (const std::bad_alloc&) {
      thrown = true;
    } catch (const std::length_error&) {  // of a file whose size was not to be had
      thrown = true;
    }
    const bool failed = Allocations::failed();
    Allocations::failAt(0);
    EXPECT_TRUE(failed || !thrown);
    after();
    EXPECT_EQ(Allocations::live(), before);
    if (!failed) return number - 1;
  }
}

}  // namespace OMB::test
