// Image data: the conversions against their plainest form, on every instruction set that the
// machine has.
#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ombrel/image/data_transformer.h"
#include "ombrel/image/nn_data.h"
#include "ombrel/image/normalize_image.h"
#include "ombrel/image/transform_image.h"

#include "expected_conversion.h"
#include "image/instruction_sets.h"
#include "nn_data_fields.h"
#include "system/cache.h"

namespace {

std::size_t cacheSize = 0;  // what the machine is told to have

}  // namespace

std::size_t OMB::system::lastCacheSize() noexcept {
  return cacheSize;
}

namespace OMB {
namespace {

using ImageUtils::EFormat;
using ImageUtils::ELayoutType;
using ImageUtils::TransformImage;
using enum ELayoutType;
using test::expectedBlock;
using test::fields;
using testing::Each;
using Byte = unsigned char;
using Sizes = std::array<int, 3>;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

/// Floats and the bytes that become of them.
constexpr std::pair<float, Byte> kKnown[] = {
    {0.0F, 0},    {1.0F, 255},   {0.5F, 127},  {0.999F, 254},    {0.00196F, 0},
    {1.5F, 126},  {2.0F, 254},   {-0.5F, 129}, {-0.001F, 0},     {0.003921569F, 1},
    {1e10F, 0},   {-1e10F, 0},   {kInf, 0},    {-kInf, 0},       {kNan, 0},
    {-0.0F, 0},   {-kNan, 0},    {1e-45F, 0},  {-1.0F, 1},       {8421504.0F, 128},
    {3.4e38F, 0}, {-3.4e38F, 0}, {0x1p23F, 0}, {0.9999999F, 254}};

/// A float that is anything: any bits, in a plain range, known, or close to where a 32-bit integer
/// ends.
float anyFloat(std::mt19937& random) {
  const auto bits = static_cast<std::uint32_t>(random());
  const float unit = static_cast<float>(bits % 4096) / 1024.0F - 2.0F;
  const float values[] = {std::bit_cast<float>(bits), unit, kKnown[bits % std::size(kKnown)].first,
                          (unit < 0 ? -0x1p31F : 0x1p31F) / 255.0F * (1.0F + unit * 0x1p-22F)};
  return values[random() % 4];
}

template <typename S>
std::vector<S> anySamples(std::size_t count) {
  std::mt19937 random(static_cast<std::mt19937::result_type>(count));
  std::vector<S> samples(count);
  for (S& sample : samples) {
    sample = std::is_same_v<S, Byte> ? static_cast<S>(random()) : static_cast<S>(anyFloat(random));
  }
  return samples;
}

/// Makes the call once for each instruction set that this machine has and the kernels are built
/// for.
template <typename Call>
void onEveryTarget(const Call& call) {
  const auto choose = [](std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  };
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    choose(target);
    call();
  }
  choose(0);
}

template <typename T>
constexpr const char* kType = std::is_same_v<T, float> ? "FP32" : "U8";

std::string nameOf(ELayoutType layout) {
  if (layout == CHW) return "CHW";
  return layout == HWC ? "HWC" : "layout " + std::to_string(static_cast<int>(layout));
}

/// Two blocks that are to be the same, bit by bit: says where they first differ. What is not of the
/// block itself is its border.
template <typename D>
testing::AssertionResult sameSamples(const std::vector<D>& expected, const std::vector<D>& actual,
                                     std::ptrdiff_t start, const Sizes& sizes, ELayoutType order) {
  const auto differ = [](D a, D b) { return std::memcmp(&a, &b, sizeof(D)) != 0; };
  const auto [wanted, found] =
      std::mismatch(expected.begin(), expected.end(), actual.begin(), std::not_fn(differ));
  if (wanted == expected.end()) return testing::AssertionSuccess();
  const std::ptrdiff_t index = wanted - expected.begin() - start;
  const int pixels = sizes[0] * sizes[1];
  auto failure = testing::AssertionFailure();
  if (index < 0 || index >= pixels * sizes[2]) {
    failure << "the border, " << index << " elements from the start";
  } else {
    const std::ptrdiff_t pixel = order == HWC ? index / sizes[2] : index % pixels;
    failure << "pixel " << pixel % sizes[0] << "," << pixel / sizes[0] << " channel "
            << (order == HWC ? index % sizes[2] : index / pixels);
  }
  return failure << " is " << +*found << " and not " << +*wanted;
}

template <typename Pair>
class Transform : public testing::Test {
 public:
  using Src = std::tuple_element_t<0, Pair>;
  using Dst = std::tuple_element_t<1, Pair>;

  /// Converts with both blocks that many elements behind an aligned start. The source ends where
  /// its memory does, the target has a border on both sides that has to stay.
  static void check(const Sizes& sizes, ELayoutType from, ELayoutType to, std::ptrdiff_t srcStart,
                    std::ptrdiff_t dstStart) {
    const auto pixels = static_cast<std::size_t>(sizes[0] * sizes[1]);
    const auto channels = static_cast<std::size_t>(sizes[2]);
    const std::size_t count = pixels * channels;
    const auto samples = anySamples<Src>(static_cast<std::size_t>(srcStart) + count);
    const Src* const src = samples.data() + srcStart;
    std::vector<Dst> dst(static_cast<std::size_t>(dstStart) + count + 70, Dst{77});
    std::vector<Dst> expected = dst;
    const auto block = expectedBlock<Src, Dst>(src, pixels, channels, from, to);
    std::copy(block.begin(), block.end(), expected.begin() + dstStart);
    ASSERT_TRUE((TransformImage<Src, Dst>(src, dst.data() + dstStart, sizes[0], sizes[1], sizes[2],
                                          from, to)));
    ASSERT_TRUE(sameSamples(expected, dst, dstStart, sizes, to))
        << kType<Src> << " " << nameOf(from) << " to " << kType<Dst> << " " << nameOf(to) << ", "
        << sizes[0] << "x" << sizes[1] << "x" << sizes[2] << ", starts at " << srcStart << " and "
        << dstStart << ", by " << hwy::TargetName(hwy::SupportedAndGeneratedTargets()[0]);
    const auto* const bytes = reinterpret_cast<const Byte*>(dst.data());
    for (std::size_t i = 0; i < dst.size() * sizeof(Dst); ++i) {
      digest = (digest ^ bytes[i]) * 0x100000001b3;
    }
  }

  static inline std::uint64_t digest = 0;  ///< of all that was converted since it was 0
};

using Pairs = testing::Types<std::tuple<Byte, Byte>, std::tuple<Byte, float>,
                             std::tuple<float, Byte>, std::tuple<float, float>>;
TYPED_TEST_SUITE(Transform, Pairs, );

TYPED_TEST(Transform, IsTheSampleRuleForAllSizesOrdersStartsAndInstructionSets) {
  // Seen on x86-64: every processor has to give the same bytes.
  const std::uint64_t digests[] = {2006101887521005110, 275920056534851171, 397251814875466360,
                                   7965972837216905195};
  using S = typename TestFixture::Src;
  using D = typename TestFixture::Dst;
  onEveryTarget([&] {
    this->digest = 0;
    for (int width = 1; width <= 67; ++width) {
      for (const int height : {1, 3, 5}) {
        for (int channels = 1; channels <= 5; ++channels) {
          for (const auto& [src, dst] : {std::pair(0, 0), std::pair(1, 2), std::pair(3, 1)}) {
            this->check({width, height, channels}, HWC, CHW, src, dst);
            this->check({width, height, channels}, CHW, HWC, src, dst);
            this->check({width, height, channels}, HWC, HWC, src, dst);
            if (this->HasFailure()) return;
          }
        }
      }
    }
    EXPECT_EQ(this->digest, digests[sizeof(S) / 2 + sizeof(D) / 4]);
  });
}

/// Planes around the caches: of whole lines and not, and from any start of a line on.
template <typename Check>
void onNoCache(const Check& check) {
  cacheSize = 1;
  onEveryTarget([&] {
    for (const int width : {16, 64, 65, 96, 128, 320}) {
      for (int channels = 2; channels <= 4; ++channels) check({width, 2, channels});
    }
  });
  cacheSize = 0;
}

TYPED_TEST(Transform, GivesTheSameAroundTheCaches) {
  onNoCache([this](const Sizes& sizes) {
    for (const int start : {0, 1, 5, 8, 16, 47}) this->check(sizes, HWC, CHW, start % 3, start);
  });
}

TYPED_TEST(Transform, TakesLayoutsOutsideTheEnumerationAsHwcToChwUnlessTheyAreEqual) {
  const auto odd = static_cast<ELayoutType>(2);
  for (const ELayoutType layout : {CHW, HWC, odd, static_cast<ELayoutType>(-1)}) {
    this->check({8, 5, 3}, layout, odd, 0, 0);
    this->check({8, 5, 3}, odd, layout, 0, 0);
  }
}

TEST(TransformImage, RefusesNullAndSizesBelowOneAndLeavesTheTarget) {
  const std::vector<Byte> src(8, 1);
  std::vector<float> dst(8, 77);
  for (const ELayoutType to : {CHW, HWC}) {
    const auto convert = [&](const Byte* from, float* target, const Sizes& s) {
      return TransformImage<Byte, float>(from, target, s[0], s[1], s[2], HWC, to);
    };
    EXPECT_FALSE(convert(nullptr, dst.data(), {2, 2, 2}));
    EXPECT_FALSE(convert(src.data(), nullptr, {2, 2, 2}));
    for (const int bad : {0, -1, std::numeric_limits<int>::min()}) {
      EXPECT_FALSE(convert(src.data(), dst.data(), {bad, 2, 2}));
      EXPECT_FALSE(convert(src.data(), dst.data(), {2, bad, 2}));
      EXPECT_FALSE(convert(src.data(), dst.data(), {2, 2, bad}));
    }
  }
  EXPECT_THAT(dst, Each(77));
}

TEST(TransformImage, LeavesABlockConvertedOntoItselfAsItWas) {
  const std::vector<Byte> before = anySamples<Byte>(67 * 5 * 3);
  std::vector<Byte> block = before;
  EXPECT_TRUE((TransformImage<Byte, Byte>(block.data(), block.data(), 67, 5, 3, HWC, HWC)));
  EXPECT_TRUE((TransformImage<Byte, Byte>(block.data(), block.data(), 67, 15, 1, HWC, CHW)));
  EXPECT_EQ(block, before);
}

TEST(TransformImage, GivesTheKnownValuesAndBringsEveryByteBack) {
  Byte byte = 77;
  for (const auto& [sample, expected] : kKnown) {
    EXPECT_TRUE((TransformImage<float, Byte>(&sample, &byte, 1, 1, 1, HWC, CHW)));
    EXPECT_EQ(byte, expected) << sample;
  }
  for (int i = 0; i < 256; ++i) {
    float sample = 77;
    byte = static_cast<Byte>(i);
    EXPECT_TRUE((TransformImage<Byte, float>(&byte, &sample, 1, 1, 1, HWC, CHW)));
    EXPECT_EQ(sample, static_cast<float>(i) * (1.0F / 255.0F));
    EXPECT_TRUE((TransformImage<float, Byte>(&sample, &byte, 1, 1, 1, HWC, CHW)));
    EXPECT_EQ(byte, i);
  }
}

TEST(TransformImage, AllocatesPlanarFloatsFromBytesOrFloats) {
  const std::vector<float> floats = anySamples<float>(67 * 3 * 5);
  const auto* const bytes = reinterpret_cast<const Byte*>(floats.data());
  for (const std::size_t channels : {1U, 3U, 5U}) {
    for (const int format : {0, 1, 7, -1}) {
      const std::unique_ptr<float[]> result(TransformImage(
          floats.data(), 67, 3, static_cast<int>(channels), static_cast<EFormat>(format)));
      const auto expected =
          format == 1 ? expectedBlock<float, float>(floats.data(), 67 * 3, channels, HWC, CHW)
                      : expectedBlock<Byte, float>(bytes, 67 * 3, channels, HWC, CHW);
      EXPECT_EQ(std::memcmp(result.get(), expected.data(), expected.size() * sizeof(float)), 0)
          << format;
    }
  }
}

TEST(Allocations, AreRefusedOnlyWhereTheCountIsNegativeOrTooLarge) {
  constexpr int k16 = 1 << 16, k30 = 1 << 30;
  const std::vector<Sizes> valid = {{0, 2, 2},   {2, 0, 2},   {2, 2, 0},  {-2, 0, 2},
                                    {-1, -2, 3}, {-1, 2, -3}, {2, -1, -3}};
  // 64 bits hold nothing but zeros of the last count.
  const std::vector<Sizes> refused = {{-1, 2, 2},    {2, -1, 2},        {2, 2, -1},
                                      {-1, -1, -1},  {k16, k16 / 2, 1}, {k16 / 2, k16 / 2, 3},
                                      {k30, k30, 16}};
  for (const int type : {0, 1}) {
    const auto format = static_cast<EFormat>(type);
    const auto element = static_cast<EDataType>(type);
    for (const auto& [a, b, c] : valid) {
      EXPECT_NE(std::unique_ptr<float[]>(TransformImage(nullptr, a, b, c, format)), nullptr);
      EXPECT_NE(NNData(nullptr, a, b, c, CHW, element, false).getData(), nullptr);
    }
    for (const auto& [a, b, c] : refused) {
      EXPECT_THROW((void)TransformImage(nullptr, a, b, c, format), std::bad_alloc) << a << b << c;
      EXPECT_THROW(NNData(nullptr, a, b, c, CHW, element, false), std::bad_alloc) << a << b << c;
    }
  }
}

TYPED_TEST(Transform, IsChosenByTheTypesOfTheDataAndTakesTheSizesOfTheSource) {
  using S = typename TestFixture::Src;
  using D = typename TestFixture::Dst;
  std::vector<S> samples = anySamples<S>(4);
  std::vector<D> target(4, D{77});
  NNData dst(target.data(), 9, -9, 0, HWC, EDataType::U8, true);
  const auto process = [&](void* data, int width, int srcType, int dstType) {
    const NNData src(data, 2, width, 2, CHW, static_cast<EDataType>(srcType), true);
    dst.type = static_cast<EDataType>(dstType);
    EXPECT_EQ(DataTransformer::processData(&src, &dst), &dst);
  };
  const int dstType = std::is_same_v<D, float> ? 1 : 0;
  for (const int srcType : {0, 1, 2, -1}) {
    if (std::is_same_v<S, float> != (srcType == 1)) continue;
    std::fill(target.begin(), target.end(), D{77});
    process(samples.data(), 1, srcType, 2);
    process(samples.data(), 1, srcType, -1);
    process(samples.data(), 0, srcType, dstType);
    process(nullptr, 1, srcType, dstType);
    EXPECT_THAT(target, Each(D{77}));
    process(samples.data(), 1, srcType, dstType);
    const auto expected = expectedBlock<S, D>(samples.data(), 2, 2, CHW, HWC);
    EXPECT_EQ(std::memcmp(target.data(), expected.data(), 4 * sizeof(D)), 0);
  }
  EXPECT_EQ(fields(dst), std::tuple(HWC, dst.type, 9, -9, 0, true, target.data()));
}

template <typename S>
class Normalize : public testing::Test {
 public:
  /// One sample.
  static float expected(S sample, const ImageUtils::ChannelStatistics& channel) {
    const double range = std::is_same_v<S, Byte> ? 255 : 1, deviation = channel.deviation;
    const auto factor = static_cast<float>(1 / (range * deviation));
    const auto offset = static_cast<float>(-channel.mean / deviation);
    // Not fma, which is not exact in every C library.
    const long double product = static_cast<long double>(sample) * factor;
    return static_cast<float>(product + offset);
  }

  static void check(const Sizes& sizes, ELayoutType from, ImageUtils::EChannelOrder order) {
    const auto pixels = static_cast<std::size_t>(sizes[0] * sizes[1]);
    const auto channels = static_cast<std::size_t>(sizes[2]);
    auto samples = anySamples<S>(pixels * channels);
    for (S& sample : samples) sample = sample == sample ? sample : S{};  // NaN has many forms
    std::vector<float> dst(samples.size() + 70, 77.0F), wanted = dst;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const std::size_t target = i / pixels, pixel = i % pixels;
      const bool kept = order == ImageUtils::EChannelOrder::KEPT;
      const std::size_t source = kept ? target : channels - 1 - target;
      const S sample = samples[from == CHW ? source * pixels + pixel : pixel * channels + source];
      wanted[i] = expected(sample, kStatistics[target]);
    }
    ASSERT_TRUE(ImageUtils::NormalizeImage(samples.data(), dst.data(), sizes[0], sizes[1], sizes[2],
                                           from, kStatistics, order));
    ASSERT_TRUE(sameSamples(wanted, dst, 0, sizes, CHW))
        << kType<S> << " " << nameOf(from) << " " << sizes[0] << "x" << sizes[1] << "x" << sizes[2]
        << ", by " << hwy::TargetName(hwy::SupportedAndGeneratedTargets()[0]);
  }

  static constexpr ImageUtils::ChannelStatistics kStatistics[] = {
      {0.485F, 0.229F}, {0.456F, 0.224F}, {0.406F, -0.225F}, {-3, 1e-3F}, {0, 1}};
};
using SampleTypes = testing::Types<Byte, float>;
TYPED_TEST_SUITE(Normalize, SampleTypes, );

TYPED_TEST(Normalize, IsTheRuleForAllSizesOrdersAndInstructionSets) {
  onEveryTarget([] {
    for (const auto order :
         {ImageUtils::EChannelOrder::KEPT, ImageUtils::EChannelOrder::REVERSED}) {
      for (const ELayoutType from : {CHW, HWC}) {
        for (int channels = 1; channels <= 5; ++channels) {
          for (const int width : {1, 2, 3, 7, 8, 15, 16, 17, 31, 33, 64, 129, 1000}) {
            TestFixture::check({width, 1 + width % 3, channels}, from, order);
          }
        }
      }
    }
  });
}

TYPED_TEST(Normalize, GivesTheSameAroundTheCaches) {
  onNoCache([](const Sizes& sizes) {
    for (const auto order :
         {ImageUtils::EChannelOrder::KEPT, ImageUtils::EChannelOrder::REVERSED}) {
      TestFixture::check(sizes, HWC, order);
    }
  });
}

TEST(NormalizeImage, RefusesWhatGivesNoNumbers) {
  const Byte pixel[] = {1};
  float value = 7;
  const auto normalize = [&](const Byte* src, float* dst, int width, float mean, float deviation) {
    const ImageUtils::ChannelStatistics channel{mean, deviation};
    return ImageUtils::NormalizeImage(src, dst, width, 1, 1, HWC, &channel,
                                      ImageUtils::EChannelOrder::KEPT);
  };
  EXPECT_FALSE(normalize(nullptr, &value, 1, 0, 1));
  EXPECT_FALSE(normalize(pixel, nullptr, 1, 0, 1));
  EXPECT_FALSE(normalize(pixel, &value, 0, 0, 1));
  EXPECT_FALSE(ImageUtils::NormalizeImage(pixel, &value, 1, 1, 1, HWC, nullptr,
                                          ImageUtils::EChannelOrder::KEPT));
  for (const float bad : {0.0F, kInf, kNan, 1e-45F})
    EXPECT_FALSE(normalize(pixel, &value, 1, 0, bad));
  for (const float bad : {kInf, kNan}) EXPECT_FALSE(normalize(pixel, &value, 1, bad, 1));
  EXPECT_EQ(value, 7);
  EXPECT_TRUE(normalize(pixel, &value, 1, 0.5F, 0.5F));
  EXPECT_FLOAT_EQ(value, 1 / 127.5F - 1);
}

}  // namespace
}  // namespace OMB
