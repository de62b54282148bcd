// Normalisation sample by sample: the definition of every result, and the form for what the
// vectorised kernels leave over. Built so that no compiler makes one operation of two.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace OMB::ImageUtils {

/// What becomes of the samples of one channel.
struct Affine {
  float factor;
  float offset;
};

/// a * b + c, rounded once, as the processors' instruction for it does. Not every C library's fma
/// is exact, and few are fast. The sum in double precision is not exact either: where it is not,
/// its last bit is made odd, so that the second rounding goes where one alone would have gone.
inline float multiplyAdd(float a, float b, float c) {
  const double product = double{a} * double{b};  // exact
  const double addend = c;
  double sum = product + addend;
  if (!std::isfinite(sum)) return static_cast<float>(sum);
  const double addendPart = sum - product, productPart = sum - addendPart;
  const double lost = (product - productPart) + (addend - addendPart);
  std::uint64_t bits = 0;
  std::memcpy(&bits, &sum, sizeof bits);
  if (lost != 0 && bits % 2 == 0) (lost > 0) == (sum > 0) ? ++bits : --bits;
  std::memcpy(&sum, &bits, sizeof sum);
  return static_cast<float>(sum);
}

template <typename S>
inline float normalizeSample(S sample, Affine rule) {
  return multiplyAdd(static_cast<float>(sample), rule.factor, rule.offset);
}

/// One channel, which has a sample in every `step` elements: the pixels `first` to `pixels` - 1.
template <typename S>
void plainChannel(const S* src, std::size_t step, float* dst, std::size_t first, std::size_t pixels,
                  Affine rule) {
  for (std::size_t p = first; p < pixels; ++p) dst[p] = normalizeSample(src[p * step], rule);
}

}  // namespace OMB::ImageUtils
