// Vectors of pixels, which the kernels of all conversions take apart alike. Compiled once for each
// instruction set, by whoever includes it behind foreach_target.h.
#if defined(OMBREL_PIXEL_VECTORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef OMBREL_PIXEL_VECTORS_INL_H
#undef OMBREL_PIXEL_VECTORS_INL_H
#else
#define OMBREL_PIXEL_VECTORS_INL_H
#endif

#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#undef OMBREL_HAS_VECTORS
#define OMBREL_HAS_VECTORS                                                       \
  (HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3 || \
   HWY_TARGET == HWY_NEON)

HWY_BEFORE_NAMESPACE();
namespace OMB::ImageUtils::HWY_NAMESPACE {
#if OMBREL_HAS_VECTORS

namespace hn = hwy::HWY_NAMESPACE;

using Bytes = hn::ScalableTag<std::uint8_t>;
using Floats = hn::ScalableTag<float>;
using Ints = hn::ScalableTag<std::int32_t>;
using QuarterBytes = hn::Rebind<std::uint8_t, Floats>;
using ByteVec = hn::Vec<Bytes>;
using FloatVec = hn::Vec<Floats>;
using IntVec = hn::Vec<Ints>;

constexpr std::size_t kFloats = hn::MaxLanes(Floats());
constexpr std::size_t kBytes = hn::MaxLanes(Bytes());
constexpr std::size_t kBlocks = kBytes / 16;  // shuffles of bytes stay within 16 bytes

/// Which byte of a 16-byte block goes where; an entry of kNone gives 0.
struct ByteTable {
  alignas(16) std::uint8_t from[16];
};
constexpr std::uint8_t kNone = 0x80;

/// Which 32-bit lane of a vector goes where.
struct LaneTable {
  alignas(64) std::int32_t from[kFloats];
};

HWY_INLINE ByteVec shuffle(ByteVec v, const ByteTable& table) {
  return hn::TableLookupBytesOr0(v, hn::LoadDup128(Bytes(), table.from));
}

HWY_INLINE ByteVec permute(ByteVec v, const LaneTable& table) {
  const auto indices = hn::SetTableIndices(Ints(), table.from);
  return hn::BitCast(Bytes(), hn::TableLookupLanes(hn::BitCast(Ints(), v), indices));
}

/// Four pixels of kChannels bytes to a block: lanes 0 to kChannels - 1 of each block are filled.
template <std::size_t kChannels>
constexpr LaneTable spreadBlocks() {
  LaneTable table{};
  for (std::size_t i = 0; i < kFloats; ++i) {
    table.from[i] = static_cast<std::int32_t>(i / 4 * kChannels + i % 4 % kChannels);
  }
  return table;
}

/// One channel of four interleaved pixels, widened to 32 bits.
template <std::size_t kChannels, std::size_t kChannel>
constexpr ByteTable widenChannel() {
  ByteTable table{};
  for (std::size_t k = 0; k < 16; ++k) {
    table.from[k] = k % 4 == 0 ? static_cast<std::uint8_t>(k / 4 * kChannels + kChannel) : kNone;
  }
  return table;
}

template <std::size_t kChannels, typename V>
struct Pixels {
  HWY_INLINE Pixels() {}  // one that the compiler makes would lack the instruction set
  V channel[kChannels];
};

template <std::size_t kChannels, typename Tag>
HWY_INLINE Pixels<kChannels, hn::Vec<Tag>> loadPixels(Tag d, const hn::TFromD<Tag>* src) {
  Pixels<kChannels, hn::Vec<Tag>> v;
  if constexpr (kChannels == 2) {
    hn::LoadInterleaved2(d, src, v.channel[0], v.channel[1]);
  } else if constexpr (kChannels == 3) {
    hn::LoadInterleaved3(d, src, v.channel[0], v.channel[1], v.channel[2]);
  } else {
    hn::LoadInterleaved4(d, src, v.channel[0], v.channel[1], v.channel[2], v.channel[3]);
  }
  return v;
}

/// As many vectors as the registers hold: the fewer the changes from plane to plane, the better the
/// caches take planes that lie unluckily to each other.
constexpr std::size_t kLongRun = HWY_TARGET == HWY_AVX3 ? 16 : 8;

#endif
}  // namespace OMB::ImageUtils::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
