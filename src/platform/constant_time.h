// Comparing without telling by the time it takes how much is the same.
#pragma once

#include <cstddef>
#include <span>

namespace OMB::platform {

inline bool equalInConstantTime(std::span<const unsigned char> left,
                                std::span<const unsigned char> right) {
  if (left.size() != right.size()) return false;
  volatile unsigned char different = 0;
  for (std::size_t i = 0; i < left.size(); ++i) {
    different = static_cast<unsigned char>(different | (left[i] ^ right[i]));
  }
  return different == 0;
}

}  // namespace OMB::platform
