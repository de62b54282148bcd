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
#include <type_traits>

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include "image/stores.h"

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

/// Four interleaved pixels to one 32-bit lane a channel.
template <std::size_t kChannels>
constexpr ByteTable splitPixels() {
  ByteTable table{};
  for (std::size_t k = 0; k < 16; ++k) {
    const bool used = k / 4 < kChannels;
    table.from[k] = used ? static_cast<std::uint8_t>(k % 4 * kChannels + k / 4) : kNone;
  }
  return table;
}

template <std::size_t kChannels, typename V>
struct Pixels {
  HWY_INLINE Pixels() {}  // one that the compiler makes would lack the instruction set
  V channel[kChannels];
};

/// Whether pixels are loaded block by block and the blocks' lanes transposed: where a block goes
/// straight from memory to its place, and to move one to another place is dear.
template <std::size_t kChannels>
constexpr bool kTransposes = kChannels > 2 && (HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_AVX2);

/// How many pixels there have to be for loadPixels to give `kPixels` of them.
template <typename T, std::size_t kChannels, std::size_t kPixels>
constexpr std::size_t kLoadedRead =
    kPixels + (kTransposes<kChannels> && kChannels == 3 && sizeof(T) == 1 ? 2 : 0);

/// Likewise for `kRun` vectors of bytes, of each of which only kFloats pixels are used.
template <std::size_t kChannels, std::size_t kRun>
constexpr std::size_t kWidenedRead =
    (kBytes + (kRun - 1) * kFloats * kChannels + kChannels - 1) / kChannels;

/// 16 bytes from `src` on, and as many again from each further `step` bytes on.
HWY_INLINE ByteVec loadBlocks(const std::uint8_t* src, [[maybe_unused]] std::size_t step) {
  if constexpr (kBlocks == 2) {
    const hn::Half<Bytes> half;
    return hn::Combine(Bytes(), hn::LoadU(half, src + step), hn::LoadU(half, src));
  } else {
    return hn::LoadU(Bytes(), src);
  }
}

/// Each block has one 32-bit lane a channel, of one float or of four bytes.
template <std::size_t kChannels, typename Tag>
HWY_INLINE Pixels<kChannels, hn::Vec<Tag>> transposePixels(Tag d, const hn::TFromD<Tag>* src) {
  static constexpr ByteTable kSplit = splitPixels<kChannels>();
  constexpr std::size_t kBlock = 4 * kChannels;  // bytes of it that are used
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(src);
  IntVec lanes[4];
  for (std::size_t i = 0; i < 4; ++i) {
    ByteVec block = loadBlocks(bytes + i * kBlock, 4 * kBlock);
    if constexpr (sizeof(hn::TFromD<Tag>) == 1) block = shuffle(block, kSplit);
    lanes[i] = hn::BitCast(Ints(), block);
  }
  const hn::Repartition<std::uint64_t, Tag> pairs;
  const auto low = hn::BitCast(pairs, hn::InterleaveLower(Ints(), lanes[0], lanes[1]));
  const auto low2 = hn::BitCast(pairs, hn::InterleaveLower(Ints(), lanes[2], lanes[3]));
  const auto high = hn::BitCast(pairs, hn::InterleaveUpper(Ints(), lanes[0], lanes[1]));
  const auto high2 = hn::BitCast(pairs, hn::InterleaveUpper(Ints(), lanes[2], lanes[3]));
  Pixels<kChannels, hn::Vec<Tag>> v;
  v.channel[0] = hn::BitCast(d, hn::InterleaveLower(pairs, low, low2));
  v.channel[1] = hn::BitCast(d, hn::InterleaveUpper(pairs, low, low2));
  v.channel[2] = hn::BitCast(d, hn::InterleaveLower(pairs, high, high2));
  if constexpr (kChannels == 4)
    v.channel[3] = hn::BitCast(d, hn::InterleaveUpper(pairs, high, high2));
  return v;
}

#if HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_AVX2
/// In each block, two lanes of `a` and then two of `b`.
template <int kFirst, int kSecond, int kThird, int kFourth>
HWY_INLINE FloatVec pick(FloatVec a, FloatVec b) {
  constexpr int kLanes = kFirst | kSecond << 2 | kThird << 4 | kFourth << 6;
#if HWY_TARGET == HWY_SSE4
  return FloatVec{_mm_shuffle_ps(a.raw, b.raw, kLanes)};
#else
  return FloatVec{_mm256_shuffle_ps(a.raw, b.raw, kLanes)};
#endif
}

/// Three floats fill three blocks with four pixels, so that five steps take them apart.
HWY_INLINE Pixels<3, FloatVec> pickPixels(const float* src) {
  FloatVec blocks[3];
  for (std::size_t i = 0; i < 3; ++i) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(src + 4 * i);
    blocks[i] = hn::BitCast(Floats(), loadBlocks(bytes, 48));
  }
  const FloatVec xy = pick<2, 3, 1, 2>(blocks[1], blocks[2]);
  const FloatVec yz = pick<1, 2, 0, 1>(blocks[0], blocks[1]);
  Pixels<3, FloatVec> v;
  v.channel[0] = pick<0, 3, 0, 2>(blocks[0], xy);
  v.channel[1] = pick<0, 2, 1, 3>(yz, xy);
  v.channel[2] = pick<1, 3, 0, 3>(yz, blocks[2]);
  return v;
}
#endif

template <std::size_t kChannels, typename Tag>
HWY_INLINE Pixels<kChannels, hn::Vec<Tag>> loadPixels(Tag d, const hn::TFromD<Tag>* src) {
  Pixels<kChannels, hn::Vec<Tag>> v;
  if constexpr (kTransposes<kChannels> && kChannels == 3 && sizeof(*src) == 4) {
    v = pickPixels(src);
  } else if constexpr (kTransposes<kChannels>) {
    v = transposePixels<kChannels>(d, src);
  } else if constexpr (kChannels == 2) {
    hn::LoadInterleaved2(d, src, v.channel[0], v.channel[1]);
  } else if constexpr (kChannels == 3) {
    hn::LoadInterleaved3(d, src, v.channel[0], v.channel[1], v.channel[2]);
  } else {
    hn::LoadInterleaved4(d, src, v.channel[0], v.channel[1], v.channel[2], v.channel[3]);
  }
  return v;
}

constexpr std::size_t kLine = 64;  // bytes of a line of the cache

template <Stores kStores, typename V, typename Tag>
HWY_INLINE void store(V v, Tag d, hn::TFromD<Tag>* dst) {
  if constexpr (kStores == Stores::kAround) {
    hn::Stream(v, d, dst);
  } else {
    hn::StoreU(v, d, dst);
  }
}

/// Of a lambda that overRuns calls: becomes part of each of its loops.
#undef OMBREL_RUN
#define OMBREL_RUN HWY_ATTR __attribute__((always_inline))

/// Runs over the pixels of planes that lie `stride` elements apart, `kRun` pixels at a time and as
/// long as there are `enough` of them. `run` is told how to store, and the first of them. Around
/// the caches whole lines have to be written: the first run is stored as ever, and the next one
/// begins at a line. Returns the first pixel that is left over.
template <std::size_t kRun, typename D, typename Run>
HWY_INLINE std::size_t overRuns(const D* dst, std::ptrdiff_t stride, std::size_t pixels,
                                std::size_t enough, Stores stores, const Run& run) {
  static_assert(kRun * sizeof(D) % kLine == 0);
  std::size_t p = 0;
  const std::size_t behind = reinterpret_cast<std::uintptr_t>(dst) % kLine;
  const bool isEven = static_cast<std::size_t>(stride) * sizeof(D) % kLine == 0;
  if (stores == Stores::kAround && isEven && behind % sizeof(D) == 0 && pixels >= enough) {
    run(std::integral_constant<Stores, Stores::kCached>(), p);
    p = (kLine - behind) % kLine / sizeof(D);
    for (; pixels - p >= enough; p += kRun) {
      run(std::integral_constant<Stores, Stores::kAround>(), p);
    }
    hwy::FlushStream();
  }
  for (; pixels - p >= enough; p += kRun) {
    run(std::integral_constant<Stores, Stores::kCached>(), p);
  }
  return p;
}

/// As many vectors as the registers hold: the fewer the changes from plane to plane, the better the
/// caches take planes that lie unluckily to each other.
constexpr std::size_t kLongRun = HWY_TARGET == HWY_AVX3 ? 16 : 8;

#endif
}  // namespace OMB::ImageUtils::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
