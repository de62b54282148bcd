// The records around an image's samples: what they own, what they only look at, what copies have.
#include "ombrel/image/nn_data.h"

#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ombrel/image/data_transformer.h"

#include "nn_data_fields.h"

namespace OMB {
namespace {

using enum ImageUtils::ELayoutType;
using test::fields;

TEST(DataTransformer, IsCopiedMovedAndAssigned) {
  DataTransformer first, copy(first), moved(std::move(copy));
  EXPECT_EQ(&(first = moved), &first);
  EXPECT_EQ(&(first = DataTransformer()), &first);
}

TEST(NNData, OwnsACopyOfWhatItIsGiven) {
  std::vector<float> samples(12, 1.5F);
  for (const EDataType type : {EDataType::U8, EDataType::FP32}) {
    const std::size_t size = type == EDataType::U8 ? 12 : 48;
    NNData owner(samples.data(), 3, 2, 2, HWC, type, false);
    EXPECT_EQ(fields(owner), std::tuple(HWC, type, 3, 2, 2, false, owner.data));
    ASSERT_NE(owner.data, samples.data());
    EXPECT_EQ(std::memcmp(owner.data, samples.data(), size), 0);
    const NNData fresh(nullptr, 3, 2, 2, CHW, type, false);
    std::memset(fresh.data, 0, size);  // all of it is there
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
    for (const EDataType type : {EDataType::U8, EDataType::FP32, static_cast<EDataType>(2)}) {
      const NNData view(data, -3, 2, 0, CHW, type, true);
      NNData assigned(nullptr, 1, 1, 1, HWC, EDataType::FP32, false);
      assigned = view;
      for (const NNData& d : {view, assigned}) {  // copies both
        EXPECT_EQ(fields(d), std::tuple(CHW, type, -3, 2, 0, true, data));
      }
    }
  }
}

TEST(NNData, CopiesOfAnOwnerOwnTheirOwnBuffers) {
  std::array<float, 4> samples = {1, 2, 3, 4};
  auto owner = std::make_unique<NNData>(samples.data(), 1, 4, 1, HWC, EDataType::FP32, false);
  const NNData copy(*owner);
  NNData assigned(samples.data(), 2, 1, 1, CHW, EDataType::U8, false);
  assigned = *owner;
  const auto before = fields(assigned);
  const NNData& self = assigned;
  assigned = self;
  EXPECT_EQ(fields(assigned), before);
  std::memset(owner->data, 0, sizeof samples);
  owner.reset();
  for (const NNData* const d : {&copy, &self}) {
    EXPECT_EQ(fields(*d), std::tuple(HWC, EDataType::FP32, 1, 4, 1, false, d->data));
    EXPECT_EQ(std::memcmp(d->data, samples.data(), sizeof samples), 0);
  }

  NNData broken(samples.data(), 1, 1, 1, CHW, EDataType::U8, false);
  broken.width = -1;
  EXPECT_THROW(assigned = broken, std::bad_alloc);
  EXPECT_EQ(fields(assigned), before);
}

}  // namespace
}  // namespace OMB
