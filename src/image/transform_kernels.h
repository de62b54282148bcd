// The vectorised conversions, chosen at run time for the machine's instruction set.
#pragma once

#include <array>
#include <cstddef>
#include <tuple>

#include "image/stores.h"

namespace OMB::ImageUtils {

/// The conversions of one pair of element types. Source and target do not overlap.
template <typename S, typename D>
struct Kernels {
  using Pass = void (*)(const S* src, D* dst, std::size_t count);

  static constexpr std::size_t kMinChannels = 2;
  static constexpr std::size_t kMaxChannels = 4;
  using ByChannels = std::array<Pass, kMaxChannels - kMinChannels + 1>;
  using ToPlanar = void (*)(const S* src, D* dst, std::size_t pixels, Stores stores);

  Pass straight;             ///< `count` elements in memory order
  ByChannels toInterleaved;  ///< CHW to HWC of `count` pixels, for 2, 3 and 4 channels
  std::array<ToPlanar, std::tuple_size_v<ByChannels>> toPlanar;  ///< HWC to CHW likewise
};

/// The kernels for this machine. Threads: safe; the choice is made once.
template <typename S, typename D>
const Kernels<S, D>& bestKernels();

}  // namespace OMB::ImageUtils
