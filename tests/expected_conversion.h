// The conversions in the plainest form, sample by sample, for others to be compared with.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "ombrel/image/data_types.h"

namespace OMB::test {

/// What becomes of one sample.
template <typename S, typename D>
D expectedSample(S sample) {
  if constexpr (std::is_same_v<S, D>) {
    return sample;
  } else if constexpr (std::is_same_v<D, float>) {
    return static_cast<float>(sample) * 0x1.010102p-8F;
  } else {
    const double whole = std::trunc(static_cast<double>(sample * 255.0F));
    if (!(whole >= -0x1p31 && whole < 0x1p31)) return 0;
    return static_cast<D>(static_cast<std::int64_t>(whole));
  }
}

/// What becomes of a block. All that is neither CHW to HWC nor from a layout to itself is HWC to
/// CHW.
template <typename S, typename D>
std::vector<D> expectedBlock(const S* src, std::size_t pixels, std::size_t channels,
                             ImageUtils::ELayoutType from, ImageUtils::ELayoutType to) {
  using enum ImageUtils::ELayoutType;
  std::vector<D> dst(pixels * channels);
  for (std::size_t i = 0; i < dst.size(); ++i) {
    std::size_t source = i % pixels * channels + i / pixels;
    if (from == CHW && to == HWC) source = i % channels * pixels + i / channels;
    if (from == to) source = i;
    dst[i] = expectedSample<S, D>(src[source]);
  }
  return dst;
}

}  // namespace OMB::test
