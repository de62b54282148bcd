#include "conversion_peers.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ipp.h>
#include <libyuv/planar_functions.h>
#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>
#include <stdexcept>
#include <type_traits>

#include "halide_pipelines.h"

namespace OMB::bench {
namespace {

using Byte = unsigned char;
using ImageUtils::ELayoutType;

template <typename T>
constexpr halide_type_t kHalideType = {
    std::is_same_v<T, float> ? halide_type_float : halide_type_uint, 8 * sizeof(T), 1};

/// A view of samples in pixels or in planes, as the pipelines take both: of two dimensions, of
/// which the first one lies closer.
template <typename T>
class HalideView {
 public:
  HalideView(T* samples, int first, int second)
      : dimensions{{0, first, 1, 0}, {0, second, first, 0}} {
    view.host = reinterpret_cast<std::uint8_t*>(const_cast<std::remove_const_t<T>*>(samples));
    view.type = kHalideType<std::remove_const_t<T>>;
    view.dimensions = 2;
    view.dim = dimensions;
  }
  HalideView(const HalideView&) = delete;
  HalideView& operator=(const HalideView&) = delete;

  halide_buffer_t* get() { return &view; }

 private:
  halide_dimension_t dimensions[2];
  halide_buffer_t view = {};
};

using Pipeline = int (*)(halide_buffer_t*, halide_buffer_t*);

template <typename S, typename D>
Peer<S, D> halide(Pipeline threeChannels, Pipeline fourChannels, bool toPlanes, int channels) {
  const Pipeline run = channels == 3 ? threeChannels : fourChannels;
  return {"halide", [=](const S* src, D* dst, int width, int height) {
            const int pixels = width * height;
            HalideView<const S> image(src, toPlanes ? channels : pixels,
                                      toPlanes ? pixels : channels);
            HalideView<D> result(dst, toPlanes ? pixels : channels, toPlanes ? channels : pixels);
            if (run(image.get(), result.get()) != 0) throw std::runtime_error("halide failed");
          }};
}

// The same memory for all: what a library takes as a source to be written it only reads.
template <typename T>
cv::Mat matOf(const T* samples, int width, int height, int channels) {
  const int depth = std::is_same_v<T, float> ? CV_32F : CV_8U;
  return cv::Mat(height, width, CV_MAKETYPE(depth, channels), const_cast<T*>(samples));
}

template <typename T>
Peer<T, T> split(int channels) {
  return {"split", [=](const T* src, T* dst, int width, int height) {
            cv::Mat planes[4];
            for (int c = 0; c < channels; ++c) {
              planes[c] = matOf(dst + std::ptrdiff_t{c} * width * height, width, height, 1);
            }
            cv::split(matOf(src, width, height, channels), planes);
          }};
}

// Into a blob of its own, which it keeps.
Peer<Byte, float> blobFromImage(int channels) {
  const auto into = [=](const Byte* src, cv::Mat& blob, int width, int height) {
    cv::dnn::blobFromImage(matOf(src, width, height, channels), blob, 1.0 / 255.0, cv::Size(),
                           cv::Scalar(), false, false, CV_32F);
  };
  return {"blobFromImage", [=](const Byte* src, float* dst, int width, int height) {
            const int dimensions[] = {1, channels, height, width};
            cv::Mat blob(4, dimensions, CV_32F, dst);
            into(src, blob, width, height);
          }};
}

template <typename T>
Peer<T, T> ipp(int channels) {
  return {"ipp", [=](const T* src, T* dst, int width, int height) {
            const std::ptrdiff_t plane = std::ptrdiff_t{width} * height;
            T* const three[] = {dst, dst + plane, dst + 2 * plane};
            T* const four[] = {dst, dst + plane, dst + 2 * plane, dst + 3 * plane};
            const int step = width * static_cast<int>(sizeof(T));
            const IppiSize size = {width, height};
            IppStatus status;
            if constexpr (std::is_same_v<T, float>) {
              status = channels == 3 ? ippiCopy_32f_C3P3R(src, 3 * step, three, step, size)
                                     : ippiCopy_32f_C4P4R(src, 4 * step, four, step, size);
            } else {
              status = channels == 3 ? ippiCopy_8u_C3P3R(src, 3 * step, three, step, size)
                                     : ippiCopy_8u_C4P4R(src, 4 * step, four, step, size);
            }
            if (status != ippStsNoErr) throw std::runtime_error("ipp failed");
          }};
}

// Of its four channels the first is named blue.
Peer<Byte, Byte> libyuv(int channels) {
  return {"libyuv", [=](const Byte* src, Byte* dst, int width, int height) {
            const std::ptrdiff_t plane = std::ptrdiff_t{width} * height;
            if (channels == 3) {
              ::libyuv::SplitRGBPlane(src, 3 * width, dst, width, dst + plane, width,
                                      dst + 2 * plane, width, width, height);
            } else {
              ::libyuv::SplitARGBPlane(src, 4 * width, dst + 2 * plane, width, dst + plane, width,
                                       dst, width, dst + 3 * plane, width, width, height);
            }
          }};
}

template <typename S, typename D>
constexpr bool kToPlanes = !(std::is_same_v<S, float> && std::is_same_v<D, Byte>);

}  // namespace

template <typename S, typename D>
std::vector<Peer<S, D>> conversionPeers(ELayoutType from, ELayoutType to, int channels) {
  constexpr bool kPlanes = kToPlanes<S, D>;
  const bool toPlanes = from == ELayoutType::HWC && to == ELayoutType::CHW;
  const bool toPixels = from == ELayoutType::CHW && to == ELayoutType::HWC;
  if (channels < 3 || channels > 4 || !(kPlanes ? toPlanes : toPixels)) return {};
  const auto compiled = [=](Pipeline three, Pipeline four) {
    return halide<S, D>(three, four, kPlanes, channels);
  };
  if constexpr (!kPlanes) {
    return {compiled(halide_f32_to_u8_3, halide_f32_to_u8_4)};
  } else if constexpr (!std::is_same_v<S, D>) {
    return {compiled(halide_u8_to_f32_3, halide_u8_to_f32_4), blobFromImage(channels)};
  } else if constexpr (std::is_same_v<S, float>) {
    return {compiled(halide_f32_to_f32_3, halide_f32_to_f32_4), split<float>(channels),
            ipp<float>(channels)};
  } else {
    return {compiled(halide_u8_to_u8_3, halide_u8_to_u8_4), split<Byte>(channels),
            ipp<Byte>(channels), libyuv(channels)};
  }
}

template <typename S, typename D>
void requireSame(const Peer<S, D>& peer, const S* src, const D* expected, D* dst, int width,
                 int height, int channels) {
  const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                            static_cast<std::size_t>(channels);
  std::memset(dst, 0x55, count * sizeof(D));
  peer.convert(src, dst, width, height);
  const float lastBit = peer.name == "blobFromImage" ? 0x1p-24F : 0;
  for (std::size_t i = 0; i < count; ++i) {
    const auto difference = static_cast<float>(dst[i]) - static_cast<float>(expected[i]);
    if (!(difference <= lastBit && difference >= -lastBit)) {
      throw std::runtime_error(peer.name + " gives other samples than ours");
    }
  }
}

template std::vector<Peer<Byte, float>> conversionPeers(ELayoutType, ELayoutType, int);
template std::vector<Peer<float, Byte>> conversionPeers(ELayoutType, ELayoutType, int);
template std::vector<Peer<Byte, Byte>> conversionPeers(ELayoutType, ELayoutType, int);
template std::vector<Peer<float, float>> conversionPeers(ELayoutType, ELayoutType, int);
template void requireSame(const Peer<Byte, float>&, const Byte*, const float*, float*, int, int,
                          int);
template void requireSame(const Peer<float, Byte>&, const float*, const Byte*, Byte*, int, int,
                          int);
template void requireSame(const Peer<Byte, Byte>&, const Byte*, const Byte*, Byte*, int, int, int);
template void requireSame(const Peer<float, float>&, const float*, const float*, float*, int, int,
                          int);

}  // namespace OMB::bench
