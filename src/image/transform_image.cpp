#include "ombrel/image/transform_image.h"

#include <cstring>
#include <type_traits>

#include "image/element_count.h"
#include "image/stores.h"
#include "image/transform_kernels.h"
#include "image/transform_plain.h"

namespace OMB::ImageUtils {
namespace {

template <typename S, typename D>
void straight(const S* src, D* dst, std::size_t count) {
  if constexpr (std::is_same_v<S, D>) {
    std::memmove(dst, src, count * sizeof(S));  // the one pass where src may equal dst
  } else {
    bestKernels<S, D>().straight(src, dst, count);
  }
}

template <typename S, typename D, typename ByChannels>
typename ByChannels::value_type forChannels(const ByChannels& kernels, std::size_t channels) {
  using K = Kernels<S, D>;
  if (channels < K::kMinChannels || channels > K::kMaxChannels) return nullptr;
  return kernels[channels - K::kMinChannels];
}

template <typename S, typename D>
void hwcToChw(const S* src, D* dst, std::size_t pixels, std::size_t channels) {
  if (channels == 1) return straight(src, dst, pixels);
  const auto kernel = forChannels<S, D>(bestKernels<S, D>().toPlanar, channels);
  const Stores stores = storesFor(pixels * channels * (sizeof(S) + sizeof(D)));
  if (kernel != nullptr) return kernel(src, dst, pixels, stores);
  plainToPlanar(src, dst, 0, pixels, channels);
}

template <typename S, typename D>
void chwToHwc(const S* src, D* dst, std::size_t pixels, std::size_t channels) {
  const auto kernel = forChannels<S, D>(bestKernels<S, D>().toInterleaved, channels);
  if (kernel != nullptr) return kernel(src, dst, pixels);
  plainToInterleaved(src, dst, 0, pixels, channels);
}

template <typename S>
float* hwcToNewChw(const S* src, std::int32_t width, std::int32_t height, std::int32_t channels) {
  float* const dst = new float[elementCount(width, height, channels)];
  if (width < 1 || height < 1 || channels < 1) return dst;
  hwcToChw(src, dst, static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
           static_cast<std::size_t>(channels));
  return dst;
}

}  // namespace

template <typename S, typename D>
bool TransformImage(const S* src, D* dst, std::int32_t width, std::int32_t height,
                    std::int32_t channels, ELayoutType srcLayout, ELayoutType dstLayout) {
  if (src == nullptr || dst == nullptr) return false;
  if (width < 1 || height < 1 || channels < 1) return false;
  const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  const auto planes = static_cast<std::size_t>(channels);
  if (srcLayout == dstLayout || planes == 1) {
    straight(src, dst, pixels * planes);
  } else if (srcLayout == ELayoutType::CHW && dstLayout == ELayoutType::HWC) {
    chwToHwc(src, dst, pixels, planes);
  } else {
    hwcToChw(src, dst, pixels, planes);
  }
  return true;
}

template OMBREL_API bool TransformImage<unsigned char, unsigned char>(const unsigned char*,
                                                                      unsigned char*, std::int32_t,
                                                                      std::int32_t, std::int32_t,
                                                                      ELayoutType, ELayoutType);
template OMBREL_API bool TransformImage<unsigned char, float>(const unsigned char*, float*,
                                                              std::int32_t, std::int32_t,
                                                              std::int32_t, ELayoutType,
                                                              ELayoutType);
template OMBREL_API bool TransformImage<float, unsigned char>(const float*, unsigned char*,
                                                              std::int32_t, std::int32_t,
                                                              std::int32_t, ELayoutType,
                                                              ELayoutType);
template OMBREL_API bool TransformImage<float, float>(const float*, float*, std::int32_t,
                                                      std::int32_t, std::int32_t, ELayoutType,
                                                      ELayoutType);

float* TransformImage(const void* data, std::int32_t width, std::int32_t height,
                      std::int32_t channels, EFormat format) {
  if (format == EFormat::FP32) {
    return hwcToNewChw(static_cast<const float*>(data), width, height, channels);
  }
  return hwcToNewChw(static_cast<const unsigned char*>(data), width, height, channels);
}

}  // namespace OMB::ImageUtils
