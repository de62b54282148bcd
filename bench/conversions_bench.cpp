// Conversions of image blocks beside what else a host could call, in one process and on the same
// buffers. Names are SUBJECT/SIZE/ours and SUBJECT/SIZE/<peer>; compare within a subject and size.
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <benchmark/benchmark.h>

#include "ombrel/image/transform_image.h"

namespace {

using OMB::ImageUtils::EFormat;
using OMB::ImageUtils::ELayoutType;
using OMB::ImageUtils::TransformImage;
using Byte = unsigned char;

struct Size {
  int width;
  int height;
  int channels;

  std::size_t Samples() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
           static_cast<std::size_t>(channels);
  }
  std::string Name() const {
    return std::to_string(width) + "x" + std::to_string(height) + "x" + std::to_string(channels);
  }
};

// The plain loops, as one writes them without a library. Sizes go by value: a byte target could
// alias a reference, and they would be read anew for each sample.

/// One sample, with the results that ours have.
struct Checked {
  template <typename S, typename D>
  static D Convert(S sample) {
    if constexpr (std::is_same_v<S, D>) {
      return sample;
    } else if constexpr (std::is_same_v<D, float>) {
      return static_cast<float>(sample) * (1.0F / 255.0F);
    } else {
      const float product = sample * 255.0F;
      const bool fits = product >= -0x1p31F && product < 0x1p31F;
      return fits ? static_cast<Byte>(static_cast<std::int32_t>(product)) : Byte{0};
    }
  }
};

/// Likewise, but undefined for a NaN and for what no integer holds.
struct Unchecked {
  template <typename S, typename D>
  static D Convert(S sample) {
    return static_cast<Byte>(static_cast<std::int32_t>(sample * 255.0F));
  }
};

template <typename Rule, typename S, typename D>
void PlainStraight(const S* src, D* dst, Size size) {
  const std::size_t count = size.Samples();
  for (std::size_t i = 0; i < count; ++i) dst[i] = Rule::template Convert<S, D>(src[i]);
}

template <typename Rule, typename S, typename D>
void PlainToPlanar(const S* src, D* dst, Size size) {
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      for (int c = 0; c < size.channels; ++c) {
        dst[(c * size.height + y) * size.width + x] =
            Rule::template Convert<S, D>(src[(y * size.width + x) * size.channels + c]);
      }
    }
  }
}

template <typename Rule, typename S, typename D>
void PlainToInterleaved(const S* src, D* dst, Size size) {
  for (int c = 0; c < size.channels; ++c) {
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        dst[(y * size.width + x) * size.channels + c] =
            Rule::template Convert<S, D>(src[(c * size.height + y) * size.width + x]);
      }
    }
  }
}

template <typename Rule, typename S, typename D>
auto PlainLoop(ELayoutType from, ELayoutType to) {
  if (from == to) return PlainStraight<Rule, S, D>;
  return to == ELayoutType::CHW ? PlainToPlanar<Rule, S, D> : PlainToInterleaved<Rule, S, D>;
}

template <typename T>
T* AlignedArray(std::size_t count) {
  return static_cast<T*>(::operator new (count * sizeof(T), std::align_val_t{64}));
}

/// Source and target that a subject's benchmarks share, touched before they are measured. Lives as
/// long as the process, as the registered benchmarks do.
template <typename S, typename D>
struct Buffers {
  explicit Buffers(const Size& size)
      : src(AlignedArray<S>(size.Samples())), dst(AlignedArray<D>(size.Samples())) {
    std::minstd_rand random(1);
    for (std::size_t i = 0; i < size.Samples(); ++i) {
      const auto sample = static_cast<Byte>(random() >> 8);
      src[i] = std::is_same_v<S, float> ? static_cast<S>(static_cast<float>(sample / 2) / 128.0F)
                                        : static_cast<S>(sample);
    }
    std::memset(dst, 0, size.Samples() * sizeof(D));
  }
  S* src;
  D* dst;
};

void Register(const std::string& name, std::size_t bytes, const std::function<void()>& work) {
  benchmark::RegisterBenchmark(name.c_str(), [bytes, work](benchmark::State& state) {
    for (auto _ : state) {
      work();
      benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
  });
}

/// The limits of the machine for what a conversion writes and, where that is the most, reads.
template <typename S, typename D>
void RegisterLimits(const std::string& name, const Size& size, const S* src, D* dst) {
  const std::size_t written = size.Samples() * sizeof(D);
  Register(name + "memset", written, [=] { std::memset(dst, 1, written); });
  const auto other = std::shared_ptr<Byte[]>(new Byte[written]());
  Register(name + "memcpy", 2 * written, [=] { std::memcpy(dst, other.get(), written); });
  if constexpr (sizeof(S) > sizeof(D)) {
    const std::size_t read = size.Samples() * sizeof(S);
    // No byte of these samples is 1, so all of them are looked at.
    Register(name + "memchr", read, [=] { benchmark::DoNotOptimize(std::memchr(src, 1, read)); });
  }
}

void RegisterBlobFromImage(const std::string& name, const Size& size, Byte* src) {
  const cv::Mat image(size.height, size.width, CV_MAKETYPE(CV_8U, size.channels), src);
  Register(name + "blobFromImage", size.Samples() * (1 + sizeof(float)),
           [image, blob = std::make_shared<cv::Mat>()] {
             cv::dnn::blobFromImage(image, *blob, 1.0 / 255.0, cv::Size(), cv::Scalar(), false,
                                    false, CV_32F);
           });
}

template <typename T>
constexpr const char* kType = std::is_same_v<T, float> ? "f32" : "u8";

template <typename S, typename D>
void RegisterPath(ELayoutType from, ELayoutType to, const Size& size) {
  const auto layout = [](ELayoutType l) { return l == ELayoutType::CHW ? "_chw" : "_hwc"; };
  const std::string name = std::string(kType<S>) + layout(from) + "_to_" + kType<D> + layout(to) +
                           "/" + size.Name() + "/";
  const Buffers<S, D> buffers(size);
  S* const src = buffers.src;
  D* const dst = buffers.dst;
  const std::size_t bytes = size.Samples() * (sizeof(S) + sizeof(D));
  Register(name + "ours", bytes,
           [=] { TransformImage(src, dst, size.width, size.height, size.channels, from, to); });
  const auto plain = PlainLoop<Checked, S, D>(from, to);
  Register(name + "plain_loop", bytes, [=] { plain(src, dst, size); });
  if constexpr (sizeof(S) > sizeof(D)) {
    const auto unchecked = PlainLoop<Unchecked, S, D>(from, to);
    Register(name + "unchecked_loop", bytes, [=] { unchecked(src, dst, size); });
  }
  RegisterLimits(name, size, src, dst);
  if constexpr (std::is_same_v<S, Byte> && std::is_same_v<D, float>) {
    if (from == ELayoutType::HWC && to == ELayoutType::CHW && size.channels == 3) {
      RegisterBlobFromImage(name, size, src);
    }
  }
}

/// The overload that allocates: both sides pay for a fresh array and its pages.
template <typename S>
void RegisterAllocating(EFormat format, const Size& size) {
  const std::string name = std::string(kType<S>) + "_hwc_to_new_f32_chw/" + size.Name() + "/";
  const Buffers<S, float> buffers(size);
  const S* const src = buffers.src;
  const std::size_t bytes = size.Samples() * (sizeof(S) + sizeof(float));
  Register(name + "ours", bytes,
           [=] { delete[] TransformImage(src, size.width, size.height, size.channels, format); });
  Register(name + "plain_loop", bytes, [=] {
    float* const dst = new float[size.Samples()];
    PlainToPlanar<Checked>(src, dst, size);
    benchmark::DoNotOptimize(dst);
    delete[] dst;
  });
}

template <typename S, typename D>
void RegisterPair() {
  constexpr ELayoutType kChw = ELayoutType::CHW;
  constexpr ELayoutType kHwc = ELayoutType::HWC;
  for (const int channels : {1, 3, 4}) RegisterPath<S, D>(kHwc, kHwc, {640, 640, channels});
  // With one channel both orders are the straight pass; with five, no vectors are used.
  for (const int channels : {2, 3, 4, 5}) {
    RegisterPath<S, D>(kHwc, kChw, {640, 640, channels});
    RegisterPath<S, D>(kChw, kHwc, {640, 640, channels});
  }
}

void RegisterAll() {
  RegisterPair<Byte, float>();
  RegisterPair<float, Byte>();
  RegisterPair<Byte, Byte>();
  RegisterPair<float, float>();
  RegisterPath<Byte, float>(ELayoutType::HWC, ELayoutType::CHW, {224, 224, 3});
  RegisterPath<Byte, float>(ELayoutType::HWC, ELayoutType::CHW, {1920, 1080, 3});
  RegisterAllocating<Byte>(EFormat::U8, {640, 640, 3});
  RegisterAllocating<float>(EFormat::FP32, {640, 640, 3});
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  cv::setNumThreads(1);  // one thread on both sides
  RegisterAll();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
