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
  HWY_INLINE Rule() {}  // one that the compiler makes would lack the instruction set
  HWY_INLINE explicit Rule(Affine rule)
      : factor(hn::Set(Floats(), rule.factor)), offset(hn::Set(Floats(), rule.offset)) {}
  HWY_INLINE FloatVec operator()(FloatVec samples) const {
    return hn::MulAdd(samples, factor, offset);
  }

  FloatVec factor;
  FloatVec offset;
};

/// Those of all channels, apart from memory that the target may be for all the compiler knows.
template <std::size_t kChannels>
struct Rules {
  HWY_INLINE explicit Rules(const Affine* rules) {
    for (std::size_t c = 0; c < kChannels; ++c) channel[c] = Rule(rules[c]);
  }

  Rule channel[kChannels];
};

HWY_INLINE FloatVec load(const float* src) {
  return hn::LoadU(Floats(), src);
}
HWY_INLINE FloatVec load(const unsigned char* src) {
  return hn::ConvertTo(Floats(), hn::PromoteTo(Ints(), hn::LoadU(QuarterBytes(), src)));
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

template <Stores kStores, std::size_t kChannels, std::size_t kChannel, std::size_t kRun>
HWY_INLINE void storeChannels(const ByteVec (&blocks)[kRun], float* dst, std::ptrdiff_t stride,
                              const Affine* rules) {
  static constexpr ByteTable kWiden = widenChannel<kChannels, kChannel>();
  const Rule rule(rules[kChannel]);
  for (std::size_t i = 0; i < kRun; ++i) {
    const IntVec samples = hn::BitCast(Ints(), shuffle(blocks[i], kWiden));
    store<kStores>(rule(hn::ConvertTo(Floats(), samples)), Floats(), dst + i * kFloats);
  }
  if constexpr (kChannel + 1 < kChannels) {
    storeChannels<kStores, kChannels, kChannel + 1>(blocks, dst + stride, stride, rules);
  }
}

template <Stores kStores, std::size_t kChannels, std::size_t kRun>
HWY_INLINE void normalizeRun(const unsigned char* src, float* dst, std::ptrdiff_t stride,
                             const Affine* rules) {
  static constexpr LaneTable kSpread = spreadBlocks<kChannels>();
  ByteVec blocks[kRun];
  for (std::size_t i = 0; i < kRun; ++i) {
    blocks[i] = permute(hn::LoadU(Bytes(), src + i * kFloats * kChannels), kSpread);
  }
  storeChannels<kStores, kChannels, 0>(blocks, dst, stride, rules);
}

template <Stores kStores, std::size_t kChannels, std::size_t kRun>
HWY_INLINE void normalizeRun(const float* src, float* dst, std::ptrdiff_t stride,
                             const Rules<kChannels>& rules) {
  Pixels<kChannels, FloatVec> v[kRun];
  for (std::size_t i = 0; i < kRun; ++i) {
    v[i] = loadPixels<kChannels>(Floats(), src + i * kFloats * kChannels);
  }
  for (std::size_t c = 0; c < kChannels; ++c, dst += stride) {
    const Rule rule = rules.channel[c];
    for (std::size_t i = 0; i < kRun; ++i) {
      store<kStores>(rule(v[i].channel[c]), Floats(), dst + i * kFloats);
    }
  }
}

template <std::size_t kChannels, typename S>
std::size_t vectorNormalized(const S* src, float* dst, std::ptrdiff_t stride, std::size_t pixels,
                             const Affine* affine, Stores stores) {
  constexpr bool kFromBytes = sizeof(S) == 1;
  // A long run needs all registers.
  const std::conditional_t<kFromBytes, const Affine*, Rules<kChannels>> rules(affine);
  constexpr std::size_t kVectors = kFromBytes ? kLongRun : kLine / kBytes;
  constexpr std::size_t kRun = kVectors * kFloats;
  constexpr std::size_t kRead =
      kFromBytes ? kWidenedRead<kChannels, kVectors> : kLoadedRead<float, kChannels, kRun>;
  constexpr std::size_t kReadForOne =
      kFromBytes ? kWidenedRead<kChannels, 1> : kLoadedRead<float, kChannels, kFloats>;
  std::size_t p = overRuns<kRun>(dst, stride, pixels, kRead, stores,
                                 [&](auto how, std::size_t first) OMBREL_RUN {
                                   normalizeRun<decltype(how)::value, kChannels, kVectors>(
                                       src + first * kChannels, dst + first, stride, rules);
                                 });
  for (; pixels - p >= kReadForOne; p += kFloats) {
    normalizeRun<Stores::kCached, kChannels, 1>(src + p * kChannels, dst + p, stride, rules);
  }
  return p;
}

#else  // no vectors here: nothing is converted, and the plain form takes it all

template <typename S>
std::size_t vectorPlane(const S*, float*, std::size_t, Affine) {
  return 0;
}

template <std::size_t, typename S>
std::size_t vectorNormalized(const S*, float*, std::ptrdiff_t, std::size_t, const Affine*, Stores) {
  return 0;
}

#endif

template <typename S>
void plane(const S* src, float* dst, std::size_t count, Affine rule) {
  plainChannel(src, 1, dst, vectorPlane(src, dst, count, rule), count, rule);
}

template <std::size_t kChannels, typename S>
void toPlanar(const S* src, float* dst, std::ptrdiff_t stride, std::size_t pixels,
              const Affine* rules, Stores stores) {
  const std::size_t first = vectorNormalized<kChannels>(src, dst, stride, pixels, rules, stores);
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
