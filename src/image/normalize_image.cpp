#include "ombrel/image/normalize_image.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <type_traits>

#include "image/normalize_kernels.h"
#include "image/stores.h"

namespace OMB::ImageUtils {
namespace {

template <typename S>
Affine ruleOf(const ChannelStatistics& channel) {
  const double deviation = channel.deviation;
  const double range = std::is_same_v<S, float> ? 1.0 : 255.0;
  return {static_cast<float>(1.0 / (range * deviation)),
          static_cast<float>(-static_cast<double>(channel.mean) / deviation)};
}

template <typename S>
bool isUsable(const ChannelStatistics& channel) {
  if (!std::isfinite(channel.deviation) || channel.deviation == 0) return false;
  const Affine rule = ruleOf<S>(channel);
  return std::isfinite(rule.factor) && std::isfinite(rule.offset);
}

/// A target whose planes follow one another from the first channel of the source to the last.
struct Planes {
  float* first;
  std::ptrdiff_t stride;
  std::span<const ChannelStatistics> statistics;  // of the channels of the target
  bool reversed;

  template <typename S>
  Affine rule(std::size_t channel) const {
    return ruleOf<S>(statistics[reversed ? statistics.size() - 1 - channel : channel]);
  }
};

template <typename S>
void fromPlanar(const S* src, const Planes& planes, std::size_t pixels) {
  float* dst = planes.first;
  for (std::size_t c = 0; c < planes.statistics.size(); ++c, src += pixels, dst += planes.stride) {
    bestNormalizeKernels<S>().plane(src, dst, pixels, planes.rule<S>(c));
  }
}

template <typename S>
void fromInterleaved(const S* src, const Planes& planes, std::size_t pixels) {
  using K = NormalizeKernels<S>;
  const K& kernels = bestNormalizeKernels<S>();
  const std::size_t channels = planes.statistics.size();
  const std::size_t index = channels - K::kMinChannels;  // huge for one channel
  if (index < kernels.toPlanar.size()) {
    Affine rules[K::kMinChannels + std::tuple_size_v<decltype(kernels.toPlanar)> - 1];
    for (std::size_t c = 0; c < channels; ++c) rules[c] = planes.rule<S>(c);
    return kernels.toPlanar[index](src, planes.first, planes.stride, pixels, rules,
                                   storesFor(pixels * channels * (sizeof(S) + sizeof(float))));
  }
  float* dst = planes.first;
  for (std::size_t c = 0; c < channels; ++c, dst += planes.stride) {
    plainChannel(src + c, channels, dst, 0, pixels, planes.rule<S>(c));
  }
}

}  // namespace

template <typename S>
bool NormalizeImage(const S* src, float* dst, std::int32_t width, std::int32_t height,
                    std::int32_t channels, ELayoutType srcLayout,
                    const ChannelStatistics* statistics, EChannelOrder order) {
  if (src == nullptr || dst == nullptr || statistics == nullptr) return false;
  if (width < 1 || height < 1 || channels < 1) return false;
  const std::span all(statistics, static_cast<std::size_t>(channels));
  if (!std::ranges::all_of(all, isUsable<S>)) return false;
  const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  const auto size = static_cast<std::ptrdiff_t>(pixels);
  const bool reversed = order == EChannelOrder::REVERSED;
  const Planes planes = {reversed ? dst + (channels - 1) * size : dst, reversed ? -size : size, all,
                         reversed};
  if (srcLayout == ELayoutType::CHW || channels == 1) {
    fromPlanar(src, planes, pixels);
  } else {
    fromInterleaved(src, planes, pixels);
  }
  return true;
}

template OMBREL_API bool NormalizeImage<unsigned char>(const unsigned char*, float*, std::int32_t,
                                                       std::int32_t, std::int32_t, ELayoutType,
                                                       const ChannelStatistics*, EChannelOrder);
template OMBREL_API bool NormalizeImage<float>(const float*, float*, std::int32_t, std::int32_t,
                                               std::int32_t, ELayoutType, const ChannelStatistics*,
                                               EChannelOrder);

}  // namespace OMB::ImageUtils
