#include "image/transform_kernels.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "image/instruction_sets.h"
#include "image/transform_plain.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/transform_kernels.cpp"
#include <hwy/foreach_target.h>  // compiles this file once more for each instruction set
#include <hwy/highway.h>

#include "image/pixel_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace OMB::ImageUtils::HWY_NAMESPACE {

using Byte = unsigned char;

#if OMBREL_HAS_VECTORS

/// The way back: what the blocks hold in lanes 0 to kChannels - 1 moves to the front.
template <std::size_t kChannels>
constexpr LaneTable gatherBlocks() {
  LaneTable table{};
  for (std::size_t i = 0; i < kBlocks * kChannels; ++i) {
    table.from[i] = static_cast<std::int32_t>(i / kChannels * 4 + i % kChannels);
  }
  return table;
}

/// Lane j of block b to lane b of group j.
constexpr LaneTable groupLanes() {
  LaneTable table{};
  for (std::size_t i = 0; i < kFloats; ++i) {
    table.from[i] = static_cast<std::int32_t>(i % kBlocks * 4 + i / kBlocks);
  }
  return table;
}

/// Drops the bytes beyond kChannels of four pixels that stand in 32 bits each.
template <std::size_t kChannels>
constexpr ByteTable narrowPixels() {
  ByteTable table{};
  for (std::size_t k = 0; k < 16; ++k) {
    const bool used = k < 4 * kChannels;
    table.from[k] = used ? static_cast<std::uint8_t>(k / kChannels * 4 + k % kChannels) : kNone;
  }
  return table;
}

/// Byte j of lane i to byte i of lane j.
constexpr ByteTable transposeBytes() {
  ByteTable table{};
  for (std::size_t k = 0; k < 16; ++k) {
    table.from[k] = static_cast<std::uint8_t>(k % 4 * 4 + k / 4);
  }
  return table;
}

HWY_INLINE FloatVec scale(IntVec samples) {
  return hn::Mul(hn::ConvertTo(Floats(), samples), hn::Set(Floats(), kByteToFloat));
}

/// Products truncated toward zero. NaN and what is out of range have to give an integer whose low 8
/// bits are 0. That of x86 does; hn::ConvertTo would saturate to the highest one there, as NEON
/// does.
HWY_INLINE IntVec truncate(FloatVec samples) {
  const FloatVec product = hn::Mul(samples, hn::Set(Floats(), kFloatToByte));
#if HWY_TARGET == HWY_SSE4
  return IntVec{_mm_cvttps_epi32(product.raw)};
#elif HWY_TARGET == HWY_AVX2
  return IntVec{_mm256_cvttps_epi32(product.raw)};
#elif HWY_TARGET == HWY_NEON
  const auto inRange = hn::RebindMask(Ints(), hn::Lt(product, hn::Set(Floats(), 0x1p31F)));
  return hn::IfThenElseZero(inRange, hn::ConvertTo(Ints(), product));
#else
  return IntVec{_mm512_cvttps_epi32(product.raw)};
#endif
}

/// Low bytes of the lanes of up to four vectors side by side: byte j of lane i is from vector j.
/// What stands in the bytes of missing vectors is not said.
template <std::size_t kVectors>
HWY_INLINE ByteVec joinLowBytes(const IntVec (&v)[kVectors]) {
  const Bytes bytes;
  const hn::Repartition<std::uint16_t, Bytes> words;
  const auto pair = [bytes](IntVec even, IntVec odd) HWY_ATTR {
    return hn::OddEven(hn::BitCast(bytes, hn::ShiftLeft<8>(odd)), hn::BitCast(bytes, even));
  };
  const ByteVec low = pair(v[0], v[1]);
  if constexpr (kVectors == 2) {
    return low;
  } else {
    ByteVec high = hn::BitCast(bytes, v[2]);
    if constexpr (kVectors == 4) high = pair(v[2], v[3]);
    const IntVec shifted = hn::ShiftLeft<16>(hn::BitCast(Ints(), high));
    return hn::BitCast(bytes, hn::OddEven(hn::BitCast(words, shifted), hn::BitCast(words, low)));
  }
}

/// Bytes of memory order from kVectors vectors of floats, in the front of a vector.
template <std::size_t kVectors>
HWY_INLINE ByteVec loadNarrow(const float* src) {
  static constexpr ByteTable kTranspose = transposeBytes();
  static constexpr LaneTable kGroup = groupLanes();
  IntVec v[kVectors];
  for (std::size_t i = 0; i < kVectors; ++i) {
    v[i] = truncate(hn::LoadU(Floats(), src + i * kFloats));
  }
  return permute(shuffle(joinLowBytes(v), kTranspose), kGroup);
}

HWY_INLINE FloatVec loadWiden(const Byte* src) {
  return scale(hn::PromoteTo(Ints(), hn::LoadU(QuarterBytes(), src)));
}

template <std::size_t kChannels, typename Tag>
HWY_INLINE void storePixels(const Pixels<kChannels, hn::Vec<Tag>>& v, Tag d, hn::TFromD<Tag>* dst) {
  if constexpr (kChannels == 2) {
    hn::StoreInterleaved2(v.channel[0], v.channel[1], d, dst);
  } else if constexpr (kChannels == 3) {
    hn::StoreInterleaved3(v.channel[0], v.channel[1], v.channel[2], d, dst);
  } else {
    hn::StoreInterleaved4(v.channel[0], v.channel[1], v.channel[2], v.channel[3], d, dst);
  }
}

// Each vector* function below converts as many whole vectors as fit and returns how many elements
// or pixels that were.

template <typename S, typename D>
std::size_t vectorStraight(const S* src, D* dst, std::size_t count) {
  std::size_t i = 0;
  if constexpr (std::is_same_v<S, Byte>) {
    for (; count - i >= kFloats; i += kFloats) {
      hn::StoreU(loadWiden(src + i), Floats(), dst + i);
    }
  } else {
    for (; count - i >= kBytes; i += kBytes) hn::StoreU(loadNarrow<4>(src + i), Bytes(), dst + i);
  }
  return i;
}

template <Stores kStores, std::size_t kChannels, std::size_t kChannel, std::size_t kRun>
HWY_INLINE void storeChannels(const ByteVec (&blocks)[kRun], float* dst, std::size_t pixels) {
  static constexpr ByteTable kWiden = widenChannel<kChannels, kChannel>();
  for (std::size_t i = 0; i < kRun; ++i) {
    store<kStores>(scale(hn::BitCast(Ints(), shuffle(blocks[i], kWiden))), Floats(),
                   dst + i * kFloats);
  }
  if constexpr (kChannel + 1 < kChannels) {
    storeChannels<kStores, kChannels, kChannel + 1>(blocks, dst + pixels, pixels);
  }
}

/// Bytes to floats, kRun vectors of a plane at a time.
template <Stores kStores, std::size_t kChannels, std::size_t kRun>
HWY_INLINE void runToPlanar(const Byte* src, float* dst, std::size_t pixels) {
  static constexpr LaneTable kSpread = spreadBlocks<kChannels>();
  ByteVec blocks[kRun];
  for (std::size_t i = 0; i < kRun; ++i) {
    blocks[i] = permute(hn::LoadU(Bytes(), src + i * kFloats * kChannels), kSpread);
  }
  storeChannels<kStores, kChannels, 0>(blocks, dst, pixels);
}

template <std::size_t kChannels>
std::size_t vectorToPlanar(const Byte* src, float* dst, std::size_t pixels, Stores stores) {
  constexpr std::size_t kRun = kLongRun * kFloats;
  std::size_t p = overRuns<kRun>(dst, static_cast<std::ptrdiff_t>(pixels), pixels,
                                 kWidenedRead<kChannels, kLongRun>, stores,
                                 [=](auto how, std::size_t first) OMBREL_RUN {
                                   runToPlanar<decltype(how)::value, kChannels, kLongRun>(
                                       src + first * kChannels, dst + first, pixels);
                                 });
  for (; pixels - p >= kWidenedRead<kChannels, 1>; p += kFloats) {
    runToPlanar<Stores::kCached, kChannels, 1>(src + p * kChannels, dst + p, pixels);
  }
  return p;
}

/// Stores the quarters of a vector to successive planes.
template <std::size_t kChannels>
HWY_INLINE void storeGroups(ByteVec groups, Byte* dst, std::size_t pixels) {
  const QuarterBytes d;
  if constexpr (kBlocks == 4) {
    const auto low = hn::LowerHalf(groups);
    hn::StoreU(hn::LowerHalf(low), d, dst);
    hn::StoreU(hn::UpperHalf(d, low), d, dst + pixels);
    const auto high = hn::UpperHalf(hn::Half<Bytes>(), groups);
    if constexpr (kChannels > 2) hn::StoreU(hn::LowerHalf(high), d, dst + 2 * pixels);
    if constexpr (kChannels > 3) hn::StoreU(hn::UpperHalf(d, high), d, dst + 3 * pixels);
  } else {
    Byte all[kBytes];
    hn::StoreU(groups, Bytes(), all);
    for (std::size_t c = 0; c < kChannels; ++c) {
      std::memcpy(dst + c * pixels, all + c * kFloats, kFloats);
    }
  }
}

template <std::size_t kChannels>
std::size_t vectorToPlanar(const float* src, Byte* dst, std::size_t pixels, Stores /*stores*/) {
  static constexpr ByteTable kSplit = splitPixels<kChannels>();
  static constexpr LaneTable kSpread = spreadBlocks<kChannels>();
  static constexpr LaneTable kGroup = groupLanes();
  std::size_t p = 0;
  for (; pixels - p >= kFloats; p += kFloats) {
    const ByteVec interleaved = loadNarrow<kChannels>(src + p * kChannels);
    const ByteVec split = shuffle(permute(interleaved, kSpread), kSplit);
    storeGroups<kChannels>(permute(split, kGroup), dst + p, pixels);
  }
  return p;
}

/// A line of each plane, or a vector of it.
template <Stores kStores, std::size_t kChannels, std::size_t kRun, typename T>
HWY_INLINE void runToPlanar(const T* src, T* dst, std::size_t pixels) {
  const hn::ScalableTag<T> d;
  constexpr std::size_t kStep = hn::MaxLanes(d);
  Pixels<kChannels, hn::Vec<hn::ScalableTag<T>>> v[kRun];
  for (std::size_t i = 0; i < kRun; ++i)
    v[i] = loadPixels<kChannels>(d, src + i * kStep * kChannels);
  for (std::size_t c = 0; c < kChannels; ++c) {
    for (std::size_t i = 0; i < kRun; ++i) {
      store<kStores>(v[i].channel[c], d, dst + c * pixels + i * kStep);
    }
  }
}

template <std::size_t kChannels, typename T>
std::size_t vectorToPlanar(const T* src, T* dst, std::size_t pixels, Stores stores) {
  constexpr std::size_t kStep = hn::MaxLanes(hn::ScalableTag<T>());
  constexpr std::size_t kRun = kLine / sizeof(T);
  std::size_t p = overRuns<kRun>(dst, static_cast<std::ptrdiff_t>(pixels), pixels,
                                 kLoadedRead<T, kChannels, kRun>, stores,
                                 [=](auto how, std::size_t first) OMBREL_RUN {
                                   runToPlanar<decltype(how)::value, kChannels, kRun / kStep>(
                                       src + first * kChannels, dst + first, pixels);
                                 });
  for (; pixels - p >= kLoadedRead<T, kChannels, kStep>; p += kStep) {
    runToPlanar<Stores::kCached, kChannels, 1>(src + p * kChannels, dst + p, pixels);
  }
  return p;
}

template <std::size_t kChannels>
std::size_t vectorToInterleaved(const Byte* src, float* dst, std::size_t pixels) {
  std::size_t p = 0;
  for (; pixels - p >= kFloats; p += kFloats) {
    Pixels<kChannels, FloatVec> v;
    for (std::size_t c = 0; c < kChannels; ++c) v.channel[c] = loadWiden(src + c * pixels + p);
    storePixels<kChannels>(v, Floats(), dst + p * kChannels);
  }
  return p;
}

/// Floats to bytes: a vector is stored whole; the next one overwrites what is beyond its pixels.
template <std::size_t kChannels>
std::size_t vectorToInterleaved(const float* src, Byte* dst, std::size_t pixels) {
  static constexpr ByteTable kNarrow = narrowPixels<kChannels>();
  static constexpr LaneTable kGather = gatherBlocks<kChannels>();
  std::size_t p = 0;
  for (; (pixels - p) * kChannels >= kBytes; p += kFloats) {
    IntVec v[kChannels];
    for (std::size_t c = 0; c < kChannels; ++c) {
      v[c] = truncate(hn::LoadU(Floats(), src + c * pixels + p));
    }
    const ByteVec joined = joinLowBytes(v);
    hn::StoreU(permute(shuffle(joined, kNarrow), kGather), Bytes(), dst + p * kChannels);
  }
  return p;
}

template <std::size_t kChannels, typename T>
std::size_t vectorToInterleaved(const T* src, T* dst, std::size_t pixels) {
  const hn::ScalableTag<T> d;
  constexpr std::size_t kStep = hn::MaxLanes(d);
  std::size_t p = 0;
  for (; pixels - p >= kStep; p += kStep) {
    Pixels<kChannels, hn::Vec<hn::ScalableTag<T>>> v;
    for (std::size_t c = 0; c < kChannels; ++c) v.channel[c] = hn::LoadU(d, src + c * pixels + p);
    storePixels<kChannels>(v, d, dst + p * kChannels);
  }
  return p;
}

#else  // no vectors here: nothing is converted, and the plain form takes it all

template <typename S, typename D>
std::size_t vectorStraight(const S*, D*, std::size_t) {
  return 0;
}

template <std::size_t, typename S, typename D>
std::size_t vectorToPlanar(const S*, D*, std::size_t, Stores) {
  return 0;
}

template <std::size_t, typename S, typename D>
std::size_t vectorToInterleaved(const S*, D*, std::size_t) {
  return 0;
}

#endif

template <typename S, typename D>
void straight(const S* src, D* dst, std::size_t count) {
  std::size_t first = 0;
  if constexpr (!std::is_same_v<S, D>) first = vectorStraight(src, dst, count);
  plainStraight(src, dst, first, count);
}

template <std::size_t kChannels, typename S, typename D>
void toPlanar(const S* src, D* dst, std::size_t pixels, Stores stores) {
  const std::size_t first = vectorToPlanar<kChannels>(src, dst, pixels, stores);
  plainToPlanar(src, dst, first, pixels, kChannels);
}

template <std::size_t kChannels, typename S, typename D>
void toInterleaved(const S* src, D* dst, std::size_t pixels) {
  const std::size_t first = vectorToInterleaved<kChannels>(src, dst, pixels);
  plainToInterleaved(src, dst, first, pixels, kChannels);
}

template <typename S, typename D>
constexpr Kernels<S, D> kKernels = {
    straight<S, D>,
    {toInterleaved<2, S, D>, toInterleaved<3, S, D>, toInterleaved<4, S, D>},
    {toPlanar<2, S, D>, toPlanar<3, S, D>, toPlanar<4, S, D>}};

const Kernels<Byte, Byte>* byteToByte() {
  return &kKernels<Byte, Byte>;
}
const Kernels<Byte, float>* byteToFloat() {
  return &kKernels<Byte, float>;
}
const Kernels<float, Byte>* floatToByte() {
  return &kKernels<float, Byte>;
}
const Kernels<float, float>* floatToFloat() {
  return &kKernels<float, float>;
}

}  // namespace OMB::ImageUtils::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace OMB::ImageUtils {

HWY_EXPORT(byteToByte);
HWY_EXPORT(byteToFloat);
HWY_EXPORT(floatToByte);
HWY_EXPORT(floatToFloat);

template <>
const Kernels<unsigned char, unsigned char>& bestKernels() {
  return *HWY_DYNAMIC_DISPATCH(byteToByte)();
}

template <>
const Kernels<unsigned char, float>& bestKernels() {
  return *HWY_DYNAMIC_DISPATCH(byteToFloat)();
}

template <>
const Kernels<float, unsigned char>& bestKernels() {
  return *HWY_DYNAMIC_DISPATCH(floatToByte)();
}

template <>
const Kernels<float, float>& bestKernels() {
  return *HWY_DYNAMIC_DISPATCH(floatToFloat)();
}

}  // namespace OMB::ImageUtils
#endif
