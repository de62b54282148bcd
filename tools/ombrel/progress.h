// How far work has come, for whoever waits at a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace OMB::tool {

/// A line on standard error that is drawn over, and is gone when the object ends. Where standard
/// error is no terminal nothing is ever drawn. One thread at a time.
class ProgressLine {
 public:
  ProgressLine();
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  bool isShown() const { return shown; }
  /// A bar of which the share `part`, from 0 to 1, is filled, with the text behind it.
  void draw(double part, const std::string& text);

 private:
  bool shown;
  std::size_t width = 0;  ///< of what is drawn now
};

/// Bytes that are worked through. Drawn a few times a second, and not at all for what is done in a
/// moment.
class ByteProgress {
 public:
  /// `deed` says what has been done to them, as "sealed"; `total` is how many there are.
  ByteProgress(std::string deed, std::uint64_t total);

  void add(std::uint64_t bytes);

 private:
  std::string what;
  std::uint64_t total;
  std::uint64_t done = 0;
  std::chrono::steady_clock::time_point due;
  ProgressLine line;
};

}  // namespace OMB::tool
