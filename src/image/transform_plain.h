// The conversions sample by sample: the definition of every result, and the form for what the
// vectorised kernels leave over.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace OMB::ImageUtils {

inline constexpr float kByteToFloat = 0x1.010102p-8F;  ///< the single nearest to 1/255
inline constexpr float kFloatToByte = 255.0F;

/// The low 8 bits of a product truncated toward zero; 0 for what no signed 32-bit integer holds.
inline unsigned char truncateToByte(float product) {
#if defined(__SSE__)
  // For those the instruction gives the lowest integer, with 0 in its low 8 bits.
  return static_cast<unsigned char>(_mm_cvttss_si32(_mm_set_ss(product)));
#else
  if (!(std::fabs(product) < 0x1p31F)) return 0;
  return static_cast<unsigned char>(static_cast<std::int32_t>(product));
#endif
}

/// Value of one sample after conversion.
template <typename S, typename D>
inline D convertSample(S sample) {
  if constexpr (std::is_same_v<S, D>) {
    return sample;
  } else if constexpr (std::is_same_v<D, float>) {
    return static_cast<float>(sample) * kByteToFloat;
  } else {
    return truncateToByte(sample * kFloatToByte);
  }
}

/// Converts elements `first` to `count` - 1, target order equal to source order.
template <typename S, typename D>
void plainStraight(const S* src, D* dst, std::size_t first, std::size_t count) {
  for (std::size_t i = first; i < count; ++i) dst[i] = convertSample<S, D>(src[i]);
}

/// HWC to CHW, of the pixels `first` to `pixels` - 1 of a block of `pixels`. Four pixels at a time,
/// so that what is written comes in runs of four.
template <typename S, typename D>
void plainToPlanar(const S* src, D* dst, std::size_t first, std::size_t pixels,
                   std::size_t channels) {
  std::size_t p = first;
  for (; pixels - p >= 4; p += 4) {
    const S* sample = src + p * channels;
    for (std::size_t c = 0; c < channels; ++c, ++sample) {
      D* const out = dst + c * pixels + p;
      for (std::size_t i = 0; i < 4; ++i) out[i] = convertSample<S, D>(sample[i * channels]);
    }
  }
  for (; p < pixels; ++p) {
    for (std::size_t c = 0; c < channels; ++c) {
      dst[c * pixels + p] = convertSample<S, D>(src[p * channels + c]);
    }
  }
}

/// CHW to HWC likewise, plane by plane. The runs of four also keep the compiler from exchanging the
/// loops, which takes twice the time; where samples widen they do not pay.
template <typename S, typename D>
void plainToInterleaved(const S* src, D* dst, std::size_t first, std::size_t pixels,
                        std::size_t channels) {
  constexpr std::size_t kRun = sizeof(S) < sizeof(D) ? 1 : 4;
  for (std::size_t c = 0; c < channels; ++c) {
    const S* const plane = src + c * pixels;
    D* out = dst + first * channels + c;
    std::size_t p = first;
    for (; pixels - p >= kRun; p += kRun, out += kRun * channels) {
      for (std::size_t i = 0; i < kRun; ++i) out[i * channels] = convertSample<S, D>(plane[p + i]);
    }
    for (; p < pixels; ++p, out += channels) *out = convertSample<S, D>(plane[p]);
  }
}

}  // namespace OMB::ImageUtils
