// The vectorised normalisation, chosen at run time for the machine's instruction set.
#pragma once

#include <array>
#include <cstddef>

#include "image/normalize_plain.h"
#include "image/stores.h"

namespace OMB::ImageUtils {

/// Source and target do not overlap.
template <typename S>
struct NormalizeKernels {
  using Plane = void (*)(const S* src, float* dst, std::size_t count, Affine rule);
  /// HWC to CHW of `pixels` pixels. Channel c of the source, by rule c, goes to the plane that
  /// begins `c * stride` elements behind `dst`.
  using ToPlanar = void (*)(const S* src, float* dst, std::ptrdiff_t stride, std::size_t pixels,
                            const Affine* rules, Stores stores);

  static constexpr std::size_t kMinChannels = 2;

  Plane plane;                       ///< `count` elements of one channel
  std::array<ToPlanar, 3> toPlanar;  ///< for 2, 3 and 4 channels
};

/// The kernels for this machine. Threads: safe; the choice is made once.
template <typename S>
const NormalizeKernels<S>& bestNormalizeKernels();

}  // namespace OMB::ImageUtils
