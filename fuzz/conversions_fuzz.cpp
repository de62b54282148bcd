// The conversions against their plain form, sample by sample, with any sizes and enumerators.
#include <memory>

#include "ombrel/image/data_transformer.h"

#include "expected_conversion.h"
#include "fuzz_input.h"

namespace OMB::fuzz {
namespace {

using ImageUtils::ELayoutType;

template <typename S, typename D>
void compare(const NNData& image, NNData result, Input input) {
  const bool empty = image.width < 1 || image.height < 1 || image.channels < 1;
  const auto channels = static_cast<std::size_t>(empty ? 0 : image.channels);
  const auto pixels = static_cast<std::size_t>(empty ? 0 : image.width * image.height);
  const std::size_t count = channels * pixels;
  // As long as they have to be and no longer, for the sanitizer to see a step beside them.
  const auto source = std::make_unique<S[]>(count);
  const auto target = std::make_unique<D[]>(count);
  if (count != 0)
    std::memcpy(source.get(), input.bytes(count * sizeof(S)).data(), count * sizeof(S));
  NNData from = image;
  from.data = source.get();
  result.data = target.get();
  REQUIRE(DataTransformer::processData(&from, &result) == &result);

  const bool known = result.type == EDataType::U8 || result.type == EDataType::FP32;
  const auto expected =
      known ? test::expectedBlock<S, D>(source.get(), pixels, channels, image.layout, result.layout)
            : std::vector<D>(count);
  for (std::size_t i = 0; i < count; ++i) {
    REQUIRE(std::memcmp(&target[i], &expected[i], sizeof(D)) == 0);
  }
}

}  // namespace

void run(Input input) {
  const auto width = input.take<std::int32_t>() % 70, height = input.take<std::int32_t>() % 9;
  const auto channels = input.take<std::int32_t>() % 7;
  const auto record = [&] {
    const auto layout = input.take<ELayoutType>();
    return NNData(nullptr, channels, width, height, layout, input.take<EDataType>(), true);
  };
  const NNData image = record(), result = record();
  if (image.type == EDataType::FP32) {
    result.type == EDataType::FP32 ? compare<float, float>(image, result, input)
                                   : compare<float, std::uint8_t>(image, result, input);
  } else {
    result.type == EDataType::FP32 ? compare<std::uint8_t, float>(image, result, input)
                                   : compare<std::uint8_t, std::uint8_t>(image, result, input);
  }
}

}  // namespace OMB::fuzz
