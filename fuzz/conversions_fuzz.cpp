// The conversions against a form written sample by sample, with any sizes and enumerators.
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "ombrel/image/data_transformer.h"
#include "ombrel/image/nn_data.h"
#include "ombrel/image/transform_image.h"

#include "fuzz_input.h"

namespace OMB {
namespace {

using ImageUtils::EFormat;
using ImageUtils::ELayoutType;

struct Case {
  std::int32_t width, height, channels;
  ELayoutType from, to;
  std::int64_t count() const {
    return width < 1 || height < 1 || channels < 1 ? 0 : std::int64_t{width} * height * channels;
  }
};

template <typename S, typename D>
D converted(S sample) {
  if constexpr (std::is_same_v<S, D>) return sample;
  if constexpr (std::is_same_v<D, float>) return static_cast<float>(sample) * 0x1.010102p-8F;
  const double product = std::trunc(static_cast<double>(static_cast<float>(sample) * 255.0F));
  const bool fits = product >= -0x1p31 && product < 0x1p31;
  return static_cast<D>(static_cast<std::uint8_t>(fits ? static_cast<std::int64_t>(product) : 0));
}

template <typename S, typename D>
void compare(const Case& c, fuzz::Input input, std::int32_t sourceType, std::int32_t targetType) {
  const auto count = static_cast<std::size_t>(c.count());
  // Both as long as they have to be and no longer, for the sanitizer to see a step beside them.
  const auto source = std::make_unique<S[]>(count), copy = std::make_unique<S[]>(count);
  const auto target = std::make_unique<D[]>(count), other = std::make_unique<D[]>(count);
  const ByteVector bytes = input.bytes(count * sizeof(S));
  if (count != 0) std::memcpy(source.get(), bytes.data(), bytes.size());
  const bool done = ImageUtils::TransformImage(source.get(), target.get(), c.width, c.height,
                                               c.channels, c.from, c.to);
  REQUIRE(done == (count != 0));

  const auto pixels = count / static_cast<std::size_t>(std::max(c.channels, 1));
  const auto channels = static_cast<std::size_t>(c.channels);
  const bool toInterleaved = c.from == ELayoutType::CHW && c.to == ELayoutType::HWC;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t from = c.from == c.to  ? i
                             : toInterleaved ? i % channels * pixels + i / channels
                                             : i % pixels * channels + i / pixels;
    const D wanted = converted<S, D>(source[from]);
    REQUIRE(std::memcmp(&target[i], &wanted, sizeof(D)) == 0);
  }

  const NNData image(source.get(), c.channels, c.width, c.height, c.from,
                     static_cast<EDataType>(sourceType), true);
  NNData result(other.get(), c.channels, c.width, c.height, c.to,
                static_cast<EDataType>(targetType), true);
  REQUIRE(DataTransformer::processData(&image, &result) == &result);
  const bool known = targetType == 0 || targetType == 1;
  REQUIRE(std::memcmp(other.get(), known ? target.get() : std::make_unique<D[]>(count).get(),
                      count * sizeof(D)) == 0);
}

// Any numbers: what does not fit is refused before anything is allocated.
void makeOwner(const Case& c, std::int32_t type) {
  const auto area = std::int64_t{c.width} * c.channels;
  const auto elements = static_cast<long double>(area) * c.height;
  if (elements > 1 << 16 && elements <= 0x7FFFFFFF) return;
  try {
    const NNData made(nullptr, c.channels, c.width, c.height, c.from, static_cast<EDataType>(type),
                      false);
    const NNData copy(made);
    REQUIRE((made.getData() != nullptr) == (type == 0 || type == 1));
    REQUIRE(made.getData() == nullptr || elements >= 0);
  } catch (const std::bad_alloc&) {
    REQUIRE(elements < 0 || elements > 0x7FFFFFFF || std::abs(area) > 0x7FFFFFFF);
  }
}

}  // namespace
}  // namespace OMB

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace OMB;
  fuzz::Input input(data, size);
  const auto source = input.take<std::int32_t>(), target = input.take<std::int32_t>();
  const auto width = input.take<std::int32_t>(), height = input.take<std::int32_t>();
  const auto channels = input.take<std::int32_t>();
  const auto from = input.take<ELayoutType>(), to = input.take<ELayoutType>();
  makeOwner({width, height, channels, from, to}, source);

  const Case small{width % 70, height % 9, channels % 7, from, to};
  if (source == 1) {
    target == 1 ? compare<float, float>(small, input, source, target)
                : compare<float, std::uint8_t>(small, input, source, target);
  } else {
    target == 1 ? compare<std::uint8_t, float>(small, input, source, target)
                : compare<std::uint8_t, std::uint8_t>(small, input, source, target);
  }
  return 0;
}
