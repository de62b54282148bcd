// The conversions sample by sample: the definition of every result, and the form for what the
// vectorised kernels leave over.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace OMB::ImageUtils {

inline constexpr float kByteToFloat = 0x1.010102p-8F;  ///< the single nearest to 1/255
inline constexpr float kFloatToByte = 255.0F;

/// Value of one sample after conversion. A float becomes the low 8 bits of its truncated product;
/// what no signed 32-bit integer holds becomes 0.
template <typename S, typename D>
inline D ConvertSample(S sample) {
  if constexpr (std::is_same_v<S, D>) {
    return sample;
  } else if constexpr (std::is_same_v<D, float>) {
    return static_cast<float>(sample) * kByteToFloat;
  } else {
    const float product = sample * kFloatToByte;
    if (!(std::fabs(product) < 0x1p31F)) return 0;
    return static_cast<unsigned char>(static_cast<std::int32_t>(product));
  }
}

/// Converts elements `first` to `count` - 1, target order equal to source order.
template <typename S, typename D>
void PlainStraight(const S* src, D* dst, std::size_t first, std::size_t count) {
  for (std::size_t i = first; i < count; ++i) dst[i] = ConvertSample<S, D>(src[i]);
}

/// HWC to CHW, of the pixels `first` to `pixels` - 1 of a block of `pixels`.
template <typename S, typename D>
void PlainToPlanar(const S* src, D* dst, std::size_t first, std::size_t pixels,
                   std::size_t channels) {
  const S* sample = src + first * channels;
  for (std::size_t p = first; p < pixels; ++p) {
    D* out = dst + p;
    for (std::size_t c = 0; c < channels; ++c, out += pixels) {
      *out = ConvertSample<S, D>(*sample++);
    }
  }
}

/// CHW to HWC, of the pixels `first` to `pixels` - 1 of a block of `pixels`.
template <typename S, typename D>
void PlainToInterleaved(const S* src, D* dst, std::size_t first, std::size_t pixels,
                        std::size_t channels) {
  for (std::size_t c = 0; c < channels; ++c) {
    const S* const plane = src + c * pixels;
    D* out = dst + first * channels + c;
    for (std::size_t p = first; p < pixels; ++p, out += channels) {
      *out = ConvertSample<S, D>(plane[p]);
    }
  }
}

}  // namespace OMB::ImageUtils
