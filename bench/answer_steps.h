// The steps to a process's first answer.
#pragma once

#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string_view>

namespace OMB::bench {

inline constexpr std::array kAnswerSteps = {"start", "plugin", "model", "runner", "run"};

/// When each step ends, by the clock that all processes of a machine share.
class AnswerSteps {
 public:
  static double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
  }

  /// Ends the first step, which began at `begun`: when the parent made the process.
  explicit AnswerSteps(std::string_view begun) {
    std::from_chars(begun.data(), begun.data() + begun.size(), last);
    done();
  }

  void done() {
    const double end = now();
    std::printf("%.9f\n", end - last);
    last = end;
  }

 private:
  double last = 0;
};

}  // namespace OMB::bench
