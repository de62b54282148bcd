// A file of the system's, open.
#pragma once

#include <unistd.h>
#include <utility>

namespace OMB::tool {

/// Closes what it holds. False if it holds nothing, as after an open that failed.
class Descriptor {
 public:
  explicit Descriptor(int opened = -1) : number(opened) {}
  ~Descriptor() { (void)close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  /// Takes a file over. Only where nothing is held yet.
  void hold(int opened) { number = opened; }

  explicit operator bool() const { return number >= 0; }
  int get() const { return number; }

  /// Returns false if the system tells of a failure only now, as some do of a write.
  [[nodiscard]] bool close() {
    const int closing = std::exchange(number, -1);
    return closing < 0 || ::close(closing) == 0;
  }

 private:
  int number;
};

}  // namespace OMB::tool
