// Image data: the conversions against a form written here sample by sample, on every instruction
// set that the machine has, and the records around them.
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <tuple>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hwy/targets.h>

#include "ombrel/image/data_transformer.h"
#include "ombrel/image/nn_data.h"
#include "ombrel/image/transform_image.h"

namespace OMB {
namespace {

using ImageUtils::EFormat;
using ImageUtils::ELayoutType;
using ImageUtils::TransformImage;
using Byte = unsigned char;
using testing::Each;
using testing::ElementsAre;

constexpr ELayoutType CHW = ELayoutType::CHW;
constexpr ELayoutType HWC = ELayoutType::HWC;

/// What becomes of one sample.
template <typename S, typename D>
D Expected(S sample) {
  if constexpr (std::is_same_v<S, D>) {
    return sample;
  } else if constexpr (std::is_same_v<D, float>) {
    return static_cast<float>(sample) * 0x1.010102p-8F;
  } else {
    const double whole = std::trunc(static_cast<double>(sample * 255.0F));
    if (!(whole >= -0x1p31 && whole < 0x1p31)) return 0;
    return static_cast<Byte>(static_cast<std::int64_t>(whole));
  }
}

std::size_t Index(ELayoutType layout, std::size_t pixels, std::size_t channels, std::size_t p,
                  std::size_t c) {
  return layout == CHW ? c * pixels + p : p * channels + c;
}

template <typename S, typename D>
std::vector<D> Expected(const S* src, std::size_t pixels, std::size_t channels, ELayoutType from,
                        ELayoutType to) {
  std::vector<D> dst(pixels * channels);
  for (std::size_t p = 0; p < pixels; ++p) {
    for (std::size_t c = 0; c < channels; ++c) {
      dst[Index(to, pixels, channels, p, c)] =
          Expected<S, D>(src[Index(from, pixels, channels, p, c)]);
    }
  }
  return dst;
}

/// A float that is anything: any bits, a plain sample, or close to where a 32-bit integer ends.
float AnyFloat(std::mt19937& random) {
  const auto bits = static_cast<std::uint32_t>(random());
  float value;
  std::memcpy(&value, &bits, sizeof value);
  const float unit = static_cast<float>(bits % 4096) / 1024.0F - 2.0F;
  switch (random() % 4) {
    case 0:
      return value;
    case 1:
      return unit;
    case 2:
      return static_cast<float>(bits % 256) * 0x1.010102p-8F;
    default:
      return (unit < 0 ? -0x1p31F : 0x1p31F) / 255.0F * (1.0F + unit * 0x1p-22F);
  }
}

template <typename S>
std::vector<S> AnySamples(std::size_t count) {
  std::mt19937 random(static_cast<std::mt19937::result_type>(count));
  std::vector<S> samples(count);
  for (S& sample : samples) {
    if constexpr (std::is_same_v<S, float>) {
      sample = AnyFloat(random);
    } else {
      sample = static_cast<Byte>(random());
    }
  }
  return samples;
}

/// Lets the conversions run as on a machine that has only one of this machine's instruction sets.
class OneTarget {
 public:
  explicit OneTarget(std::int64_t target) { Choose(target); }
  ~OneTarget() { Choose(0); }
  OneTarget(const OneTarget&) = delete;
  OneTarget& operator=(const OneTarget&) = delete;

  static std::vector<std::int64_t> All() {
    std::vector<std::int64_t> all;
    for (std::int64_t left = hwy::SupportedTargets(); left != 0; left &= left - 1) {
      all.push_back(left & -left);
    }
    return all;
  }

 private:
  static void Choose(std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
};

/// A target with a marked border on both sides.
template <typename D>
class Bordered {
 public:
  Bordered(std::size_t start, std::size_t count)
      : start_(start), count_(count), memory_(start + count + kBehind, kMark) {}

  D* Start() { return memory_.data() + start_; }

  void ExpectHolds(const std::vector<D>& expected) const {
    EXPECT_EQ(std::memcmp(memory_.data() + start_, expected.data(), count_ * sizeof(D)), 0);
    for (std::size_t i = 0; i < memory_.size(); ++i) {
      if (i == start_) i += count_;
      ASSERT_EQ(memory_[i], kMark) << "outside of the target, at " << i;
    }
  }

 private:
  static constexpr std::size_t kBehind = 70;
  static constexpr D kMark = 77;
  std::size_t start_;
  std::size_t count_;
  std::vector<D> memory_;
};

template <typename Pair>
class Transform : public testing::Test {
 public:
  using Src = std::tuple_element_t<0, Pair>;
  using Dst = std::tuple_element_t<1, Pair>;

  /// Converts with both blocks that many elements behind an aligned start. The source ends where
  /// its memory does.
  static void Check(std::size_t width, std::size_t height, std::size_t channels, ELayoutType from,
                    ELayoutType to, std::size_t srcStart, std::size_t dstStart) {
    const std::size_t pixels = width * height;
    const std::vector<Src> samples = AnySamples<Src>(srcStart + pixels * channels);
    const Src* const src = samples.data() + srcStart;
    Bordered<Dst> dst(dstStart, pixels * channels);
    ASSERT_TRUE((TransformImage<Src, Dst>(src, dst.Start(), static_cast<std::int32_t>(width),
                                          static_cast<std::int32_t>(height),
                                          static_cast<std::int32_t>(channels), from, to)));
    dst.ExpectHolds(Expected<Src, Dst>(src, pixels, channels, from, to));
  }
};

using Pairs = testing::Types<std::tuple<Byte, Byte>, std::tuple<Byte, float>,
                             std::tuple<float, Byte>, std::tuple<float, float>>;
TYPED_TEST_SUITE(Transform, Pairs, );

TYPED_TEST(Transform, IsTheSampleRuleForAllSizesOrdersStartsAndInstructionSets) {
  constexpr std::array<std::array<std::size_t, 2>, 3> kStarts = {{{0, 0}, {1, 2}, {3, 1}}};
  for (const std::int64_t target : OneTarget::All()) {
    SCOPED_TRACE(hwy::TargetName(target));
    const OneTarget one(target);
    for (std::size_t width = 1; width <= 67; ++width) {
      for (const std::size_t height : {1U, 3U, 5U}) {
        for (std::size_t channels = 1; channels <= 5; ++channels) {
          SCOPED_TRACE(testing::Message() << width << "x" << height << "x" << channels);
          for (const auto& start : kStarts) {
            this->Check(width, height, channels, HWC, CHW, start[0], start[1]);
            this->Check(width, height, channels, CHW, HWC, start[0], start[1]);
            this->Check(width, height, channels, HWC, HWC, start[0], start[1]);
            if (this->HasFailure()) return;
          }
        }
      }
    }
  }
}

TYPED_TEST(Transform, RefusesNullAndSizesBelowOneAndLeavesTheTarget) {
  using S = typename TestFixture::Src;
  using D = typename TestFixture::Dst;
  const std::vector<S> src(8, S{1});
  std::vector<D> dst(8, D{77});
  EXPECT_FALSE((TransformImage<S, D>(nullptr, dst.data(), 2, 2, 2, HWC, CHW)));
  EXPECT_FALSE((TransformImage<S, D>(src.data(), nullptr, 2, 2, 2, HWC, CHW)));
  for (const int bad : {0, -1, std::numeric_limits<int>::min()}) {
    for (std::size_t place = 0; place < 3; ++place) {
      std::array<int, 3> sizes = {2, 2, 2};
      sizes[place] = bad;
      for (const ELayoutType to : {CHW, HWC}) {
        EXPECT_FALSE(
            (TransformImage<S, D>(src.data(), dst.data(), sizes[0], sizes[1], sizes[2], HWC, to)));
      }
    }
  }
  EXPECT_THAT(dst, Each(D{77}));
}

TYPED_TEST(Transform, TakesLayoutsOutsideTheEnumerationAsHwcToChwUnlessTheyAreEqual) {
  using S = typename TestFixture::Src;
  using D = typename TestFixture::Dst;
  const auto odd = static_cast<ELayoutType>(2);
  const auto other = static_cast<ELayoutType>(-1);
  const std::vector<S> src = AnySamples<S>(3 * 40);
  const auto interleaved = Expected<S, D>(src.data(), 40, 3, HWC, CHW);
  const auto straight = Expected<S, D>(src.data(), 40, 3, HWC, HWC);
  for (const auto& [from, to] : {std::pair(CHW, odd), std::pair(odd, HWC), std::pair(HWC, odd),
                                 std::pair(odd, CHW), std::pair(odd, other), std::pair(odd, odd)}) {
    Bordered<D> dst(0, src.size());
    EXPECT_TRUE((TransformImage<S, D>(src.data(), dst.Start(), 8, 5, 3, from, to)));
    dst.ExpectHolds(from == to ? straight : interleaved);
  }
}

TYPED_TEST(Transform, LeavesABlockConvertedOntoItselfAsItWas) {
  using S = typename TestFixture::Src;
  if constexpr (std::is_same_v<S, typename TestFixture::Dst>) {
    const std::vector<S> before = AnySamples<S>(67 * 5 * 3);
    std::vector<S> block = before;
    EXPECT_TRUE((TransformImage<S, S>(block.data(), block.data(), 67, 5, 3, HWC, HWC)));
    EXPECT_TRUE((TransformImage<S, S>(block.data(), block.data(), 67, 15, 1, HWC, CHW)));
    EXPECT_EQ(std::memcmp(block.data(), before.data(), before.size() * sizeof(S)), 0);
  }
}

TEST(TransformImage, GivesTheKnownValues) {
  constexpr float kInf = std::numeric_limits<float>::infinity();
  const std::vector<std::pair<float, int>> rows = {
      {0.0F, 0},    {1.0F, 255},    {0.5F, 127},  {0.999F, 254},    {0.00196F, 0},
      {1.5F, 126},  {2.0F, 254},    {-0.5F, 129}, {-0.001F, 0},     {0.003921569F, 1},
      {1e10F, 0},   {-1e10F, 0},    {kInf, 0},    {-kInf, 0},       {std::nanf(""), 0},
      {-0.0F, 0},   {-kInf * 0, 0}, {1e-45F, 0},  {-1.0F, 1},       {8421504.0F, 128},
      {3.4e38F, 0}, {-3.4e38F, 0},  {0x1p23F, 0}, {0.9999999F, 254}};
  std::vector<float> floats;
  std::vector<Byte> expected;
  // Often enough for every lane of a vector to meet every row.
  for (std::size_t i = 0; i < 67 * rows.size(); ++i) {
    floats.push_back(rows[i % rows.size()].first);
    expected.push_back(static_cast<Byte>(rows[i % rows.size()].second));
  }
  for (const std::int64_t target : OneTarget::All()) {
    SCOPED_TRACE(hwy::TargetName(target));
    const OneTarget one(target);
    std::vector<Byte> bytes(floats.size());
    ASSERT_TRUE((TransformImage<float, Byte>(floats.data(), bytes.data(), 67,
                                             static_cast<int>(rows.size()), 1, CHW, CHW)));
    EXPECT_EQ(bytes, expected);
  }
}

TEST(TransformImage, BringsEveryByteBackFromAFloat) {
  std::vector<Byte> bytes(256);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<Byte>(i);
  std::vector<float> floats(256);
  std::vector<Byte> back(256);
  ASSERT_TRUE((TransformImage<Byte, float>(bytes.data(), floats.data(), 16, 4, 4, HWC, CHW)));
  ASSERT_TRUE((TransformImage<float, Byte>(floats.data(), back.data(), 16, 4, 4, CHW, HWC)));
  EXPECT_EQ(back, bytes);
  EXPECT_EQ(floats[0], 0.0F);
  EXPECT_EQ(floats[32], 0.501960814F) << "byte 128, the first of pixel 32";
  EXPECT_EQ(floats[255], 1.0F);
}

TEST(TransformImage, AllocatesPlanarFloatsFromBytesOrFloats) {
  const std::vector<Byte> bytes = AnySamples<Byte>(67 * 3 * 5);
  const std::vector<float> floats = AnySamples<float>(67 * 3 * 5);
  for (const int channels : {1, 3, 5}) {
    const auto planes = static_cast<std::size_t>(channels);
    const std::size_t size = 67 * 3 * planes * sizeof(float);
    for (const int format : {0, 1, 7, -1}) {
      const void* const data = format == 1 ? static_cast<const void*>(floats.data()) : bytes.data();
      const std::unique_ptr<float[]> result(
          TransformImage(data, 67, 3, channels, static_cast<EFormat>(format)));
      const auto expected = format == 1
                                ? Expected<float, float>(floats.data(), 67 * 3, planes, HWC, CHW)
                                : Expected<Byte, float>(bytes.data(), 67 * 3, planes, HWC, CHW);
      EXPECT_EQ(std::memcmp(result.get(), expected.data(), size), 0) << format;
    }
  }
}

TEST(TransformImage, AllocatesWithoutConvertingWhereASizeIsNotPositive) {
  const std::vector<std::array<int, 3>> valid = {{0, 2, 2},   {2, 0, 2},   {2, 2, 0},  {-2, 0, 2},
                                                 {-1, -2, 3}, {-1, 2, -3}, {2, -1, -3}};
  const std::vector<std::array<int, 3>> refused = {{-1, 2, 2},
                                                   {2, -1, 2},
                                                   {2, 2, -1},
                                                   {-1, -1, -1},
                                                   {1 << 16, 1 << 15, 1},
                                                   {1 << 15, 1 << 15, 3},
                                                   {1 << 16, 1 << 16, 4}};
  for (const EFormat format : {EFormat::U8, EFormat::FP32}) {
    for (const auto& s : valid) {
      const std::unique_ptr<float[]> result(TransformImage(nullptr, s[0], s[1], s[2], format));
      EXPECT_NE(result, nullptr);
    }
    for (const auto& s : refused) {
      EXPECT_THROW(TransformImage(nullptr, s[0], s[1], s[2], format), std::bad_alloc)
          << s[0] << " " << s[1] << " " << s[2];
    }
  }
}

TEST(DataTransformer, ChoosesByTheTypesAndTakesTheSizesOfTheSource) {
  const std::vector<float> floats = {0.5F, 1.0F, 0.0F, 2.0F};
  const std::vector<Byte> bytes = {0, 255, 128, 3};
  for (const int srcType : {0, 1, 2, -1}) {
    for (const int dstType : {0, 1, 2, -1}) {
      SCOPED_TRACE(testing::Message() << srcType << " to " << dstType);
      std::vector<float> target(4, 77.0F);
      const std::vector<float> before = target;
      std::vector<float> expected = target;
      const auto fill = [&expected](const auto& values) {
        std::memcpy(expected.data(), values.data(), values.size() * sizeof values[0]);
      };
      if (srcType == 1 && dstType == 0) fill(Expected<float, Byte>(floats.data(), 2, 2, CHW, HWC));
      if (srcType == 1 && dstType == 1) fill(Expected<float, float>(floats.data(), 2, 2, CHW, HWC));
      if (srcType != 1 && dstType == 0) fill(Expected<Byte, Byte>(bytes.data(), 2, 2, CHW, HWC));
      if (srcType != 1 && dstType == 1) fill(Expected<Byte, float>(bytes.data(), 2, 2, CHW, HWC));

      const void* const from =
          srcType == 1 ? static_cast<const void*>(floats.data()) : bytes.data();
      const NNData src(const_cast<void*>(from), 2, 1, 2, CHW, static_cast<EDataType>(srcType),
                       true);
      NNData dst(target.data(), 9, -9, 0, HWC, static_cast<EDataType>(dstType), true);
      EXPECT_EQ(DataTransformer::processData(&src, &dst), &dst);
      EXPECT_EQ(target, expected);
      EXPECT_THAT((std::array{dst.channels, dst.width, dst.height}), ElementsAre(9, -9, 0));

      target = before;
      const NNData none(nullptr, 2, 1, 2, CHW, src.type, true);
      EXPECT_EQ(DataTransformer::processData(&none, &dst), &dst);
      const NNData empty(src.data, 2, 0, 2, CHW, src.type, true);
      EXPECT_EQ(DataTransformer::processData(&empty, &dst), &dst);
      EXPECT_EQ(target, before);
    }
  }
}

/// The seven fields, for comparison.
auto Fields(const NNData& d) {
  return std::tuple(d.layout, d.type, d.channels, d.width, d.height, d.isView, d.getData());
}

TEST(NNData, OwnsACopyOfWhatItIsGiven) {
  std::vector<float> samples(12, 1.5F);
  const std::size_t sizes[] = {12, 48};
  for (const EDataType type : {EDataType::U8, EDataType::FP32}) {
    const std::size_t size = sizes[static_cast<int>(type)];
    NNData owner(samples.data(), 3, 2, 2, HWC, type, false);
    EXPECT_EQ(Fields(owner), std::tuple(HWC, type, 3, 2, 2, false, owner.data));
    ASSERT_NE(owner.data, samples.data());
    EXPECT_EQ(std::memcmp(owner.getData(), samples.data(), size), 0);
    std::memset(owner.data, 0, size);
    EXPECT_THAT(samples, Each(1.5F));

    const NNData fresh(nullptr, 3, 2, 2, CHW, type, false);
    ASSERT_NE(fresh.getData(), nullptr);
    std::memset(fresh.data, 0, size);
    EXPECT_NE(NNData(samples.data(), 3, 0, 2, CHW, type, false).getData(), nullptr);
    EXPECT_THROW(NNData(samples.data(), 3, -1, 2, CHW, type, false), std::bad_alloc);
    EXPECT_THROW(NNData(nullptr, 1 << 16, 1 << 15, 1, CHW, type, false), std::bad_alloc);
  }
  for (const int width : {2, -2}) {
    const NNData odd(samples.data(), 3, width, 2, CHW, static_cast<EDataType>(2), false);
    EXPECT_EQ(odd.getData(), nullptr);
    EXPECT_EQ(NNData(odd).getData(), nullptr);
  }
}

TEST(NNData, ViewsLookAtTheCallersBufferAndSoDoTheirCopies) {
  int memory = 7;
  for (void* const data : {static_cast<void*>(&memory), static_cast<void*>(nullptr)}) {
    for (const int type : {0, 1, 2}) {
      const NNData view(data, -3, 2, 0, CHW, static_cast<EDataType>(type), true);
      const NNData copy(view);
      NNData assigned(nullptr, 1, 1, 1, HWC, EDataType::FP32, false);
      assigned = view;
      const auto expected = std::tuple(CHW, static_cast<EDataType>(type), -3, 2, 0, true, data);
      EXPECT_EQ(Fields(view), expected);
      EXPECT_EQ(Fields(copy), expected);
      EXPECT_EQ(Fields(assigned), expected);
    }
  }
  EXPECT_EQ(memory, 7);
}

TEST(NNData, CopiesOfAnOwnerOwnTheirOwnBuffers) {
  const std::array<float, 4> samples = {1, 2, 3, 4};
  auto owner = std::make_unique<NNData>(const_cast<float*>(samples.data()), 1, 4, 1, HWC,
                                        EDataType::FP32, false);
  const NNData copy(*owner);
  std::array<Byte, 2> bytes = {8, 9};
  NNData assigned(bytes.data(), 2, 1, 1, CHW, EDataType::U8, false);
  assigned = *owner;
  const void* const before = assigned.data;
  const NNData& self = assigned;
  assigned = self;
  EXPECT_EQ(assigned.data, before);

  owner->type = EDataType::FP32;
  std::memset(owner->data, 0, sizeof samples);
  owner.reset();
  for (const NNData* const d : {&copy, &std::as_const(assigned)}) {
    EXPECT_EQ(Fields(*d), std::tuple(HWC, EDataType::FP32, 1, 4, 1, false, d->data));
    EXPECT_EQ(std::memcmp(d->data, samples.data(), sizeof samples), 0);
  }
}

TEST(NNData, IsUnchangedWhenAnAssignmentCannotAllocate) {
  Byte sample = 5;
  NNData broken(&sample, 1, 1, 1, HWC, EDataType::U8, false);
  broken.width = -1;
  NNData target(&sample, 1, 1, 1, CHW, EDataType::U8, false);
  const auto before = Fields(target);
  EXPECT_THROW(target = broken, std::bad_alloc);
  EXPECT_EQ(Fields(target), before);
}

}  // namespace
}  // namespace OMB
