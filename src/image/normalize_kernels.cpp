#include "image/normalize_kernels.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "image/instruction_sets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/normalize_kernels.cpp"
#include <hwy/foreach_target.h>  // compiles this file once more for each instruction set
#include <hwy/highway.h>

#include "image/pixel_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace OMB::ImageUtils::HWY_NAMESPACE {

// Processors without the instruction for both at once take the plain form; none was built with it
// left out for ten years.
#if OMBREL_HAS_VECTORS && HWY_NATIVE_FMA

/// A rule in all lanes.
struct Rule {
  HWY_INLINE explicit Rule(Affine rule)
      : factor(hn::Set(Floats(), rule.factor)), offset(hn::Set(Floats(), rule.offset)) {}
  HWY_INLINE FloatVec operator()(FloatVec samples) const {
    return hn::MulAdd(samples, factor, offset);
  }
  HWY_INLINE FloatVec operator()(IntVec samples) const {
    return (*this)(hn::ConvertTo(Floats(), samples));
  }

  FloatVec factor;
  FloatVec offset;
};

HWY_INLINE FloatVec load(const float* src) {
  return hn::LoadU(Floats(), src);
}
HWY_INLINE IntVec load(const unsigned char* src) {
  return hn::PromoteTo(Ints(), hn::LoadU(QuarterBytes(), src));
}

// Each vector* function converts as many whole vectors as fit and returns how many elements or
// pixels that were.

template <typename S>
std::size_t vectorPlane(const S* src, float* dst, std::size_t count, Affine affine) {
  const Rule rule(affine);
  std::size_t i = 0;
  for (; count - i >= kFloats; i += kFloats) hn::StoreU(rule(load(src + i)), Floats(), dst + i);
  return i;
}

template <std::size_t kChannels, std::size_t kChannel, std::size_t kRun>
HWY_INLINE void storeChannels(const ByteVec (&blocks)[kRun], float* dst, std::ptrdiff_t stride,
                              const Affine* rules) {
  static constexpr ByteTable kWiden = widenChannel<kChannels, kChannel>();
  const Rule rule(rules[kChannel]);
  for (std::size_t i = 0; i < kRun; ++i) {
    const IntVec samples = hn::BitCast(Ints(), shuffle(blocks[i], kWiden));
    hn::StoreU(rule(samples), Floats(), dst + i * kFloats);
  }
  if constexpr (kChannel + 1 < kChannels) {
    storeChannels<kChannels, kChannel + 1>(blocks, dst + stride, stride, rules);
  }
}

/// A vector of bytes holds more than is used of it, and is read whole all the same.
template <std::size_t kChannels, std::size_t kRun>
HWY_INLINE std::size_t vectorRuns(const unsigned char* src, float* dst, std::ptrdiff_t stride,
                                  std::size_t p, std::size_t pixels, const Affine* rules) {
  static constexpr LaneTable kSpread = spreadBlocks<kChannels>();
  constexpr std::size_t kRead = kBytes + (kRun - 1) * kFloats * kChannels;
  for (; (pixels - p) * kChannels >= kRead; p += kRun * kFloats) {
    ByteVec blocks[kRun];
    for (std::size_t i = 0; i < kRun; ++i) {
      blocks[i] = permute(hn::LoadU(Bytes(), src + (p + i * kFloats) * kChannels), kSpread);
    }
    storeChannels<kChannels, 0>(blocks, dst + p, stride, rules);
  }
  return p;
}

template <std::size_t kChannels>
std::size_t vectorNormalized(const unsigned char* src, float* dst, std::ptrdiff_t stride,
                             std::size_t pixels, const Affine* rules) {
  const std::size_t p = vectorRuns<kChannels, kLongRun>(src, dst, stride, 0, pixels, rules);
  return vectorRuns<kChannels, 1>(src, dst, stride, p, pixels, rules);
}

template <std::size_t kChannels>
std::size_t vectorNormalized(const float* src, float* dst, std::ptrdiff_t stride,
                             std::size_t pixels, const Affine* rules) {
  std::size_t p = 0;
  for (; pixels - p >= kFloats; p += kFloats) {
    const auto v = loadPixels<kChannels>(Floats(), src + p * kChannels);
    float* plane = dst + p;
    for (std::size_t c = 0; c < kChannels; ++c, plane += stride) {
      hn::StoreU(Rule(rules[c])(v.channel[c]), Floats(), plane);
    }
  }
  return p;
}

#else  // no vectors here: nothing is converted, and the plain form takes it all

template <typename S>
std::size_t vectorPlane(const S*, float*, std::size_t, Affine) {
  return 0;
}

template <std::size_t, typename S>
std::size_t vectorNormalized(const S*, float*, std::ptrdiff_t, std::size_t, const Affine*) {
  return 0;
}

#endif

template <typename S>
void plane(const S* src, float* dst, std::size_t count, Affine rule) {
  plainChannel(src, 1, dst, vectorPlane(src, dst, count, rule), count, rule);
}

template <std::size_t kChannels, typename S>
void toPlanar(const S* src, float* dst, std::ptrdiff_t stride, std::size_t pixels,
              const Affine* rules) {
  const std::size_t first = vectorNormalized<kChannels>(src, dst, stride, pixels, rules);
  for (std::size_t c = 0; c < kChannels; ++c, dst += stride) {
    plainChannel(src + c, kChannels, dst, first, pixels, rules[c]);
  }
}

template <typename S>
constexpr NormalizeKernels<S> kNormalizeKernels = {
    plane<S>, {toPlanar<2, S>, toPlanar<3, S>, toPlanar<4, S>}};

const NormalizeKernels<unsigned char>* normalizeBytes() {
  return &kNormalizeKernels<unsigned char>;
}
const NormalizeKernels<float>* normalizeFloats() {
  return &kNormalizeKernels<float>;
}

}  // namespace OMB::ImageUtils::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace OMB::ImageUtils {

HWY_EXPORT(normalizeBytes);
HWY_EXPORT(normalizeFloats);

template <>
const NormalizeKernels<unsigned char>& bestNormalizeKernels() {
  return *HWY_DYNAMIC_DISPATCH(normalizeBytes)();
}

template <>
const NormalizeKernels<float>& bestNormalizeKernels() {
  return *HWY_DYNAMIC_DISPATCH(normalizeFloats)();
}

}  // namespace OMB::ImageUtils
#endif
