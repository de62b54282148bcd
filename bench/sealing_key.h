// The key of the pairs that the benchmarks seal.
#pragma once

namespace OMB::bench {

inline constexpr unsigned char kKey[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

}  // namespace OMB::bench
