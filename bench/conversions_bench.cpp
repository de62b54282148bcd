// Conversions of image blocks beside what else a host could call, in one process and on the same
// buffers. Names are SUBJECT/SIZE/ours and SUBJECT/SIZE/<peer>; compare within a subject and size.
#include <cstdint>
#include <cstring>
#include <functional>
#include <opencv2/core.hpp>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "ombrel/image/normalize_image.h"
#include "ombrel/image/transform_image.h"

#include "conversion_peers.h"
#include "program.h"

namespace {

using OMB::ImageUtils::EFormat;
using OMB::ImageUtils::ELayoutType;
using OMB::ImageUtils::TransformImage;
using Byte = unsigned char;

struct Size {
  int width;
  int height;
  int channels;

  std::size_t samples() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
           static_cast<std::size_t>(channels);
  }
  std::string name() const {
    return std::to_string(width) + "x" + std::to_string(height) + "x" + std::to_string(channels);
  }
};

// The plain loops, as one writes them without a library. Sizes go by value: a byte target could
// alias a reference, and they would be read anew for each sample.

/// One sample, with the results that ours have.
struct Checked {
  template <typename S, typename D>
  static D convert(S sample) {
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
  static D convert(S sample) {
    return static_cast<Byte>(static_cast<std::int32_t>(sample * 255.0F));
  }
};

template <typename Rule, typename S, typename D>
void plainStraight(const S* src, D* dst, Size size) {
  const std::size_t count = size.samples();
  for (std::size_t i = 0; i < count; ++i) dst[i] = Rule::template convert<S, D>(src[i]);
}

template <typename Rule, typename S, typename D>
void plainToPlanar(const S* src, D* dst, Size size) {
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      for (int c = 0; c < size.channels; ++c) {
        dst[(c * size.height + y) * size.width + x] =
            Rule::template convert<S, D>(src[(y * size.width + x) * size.channels + c]);
      }
    }
  }
}

template <typename Rule, typename S, typename D>
void plainToInterleaved(const S* src, D* dst, Size size) {
  for (int c = 0; c < size.channels; ++c) {
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        dst[(y * size.width + x) * size.channels + c] =
            Rule::template convert<S, D>(src[(c * size.height + y) * size.width + x]);
      }
    }
  }
}

template <typename Rule, typename S, typename D>
auto plainLoop(ELayoutType from, ELayoutType to) {
  if (from == to) return plainStraight<Rule, S, D>;
  return to == ELayoutType::CHW ? plainToPlanar<Rule, S, D> : plainToInterleaved<Rule, S, D>;
}

template <typename T>
T* alignedArray(std::size_t count) {
  return static_cast<T*>(::operator new (count * sizeof(T), std::align_val_t{64}));
}

constexpr Size kLargest = {3840, 2160, 4};

template <typename T>
T* makeSamples() {
  T* const samples = alignedArray<T>(kLargest.samples());
  std::minstd_rand random(1);
  for (std::size_t i = 0; i < kLargest.samples(); ++i) {
    const auto sample = static_cast<Byte>(random() >> 8);
    samples[i] = std::is_same_v<T, float> ? static_cast<T>(static_cast<float>(sample / 2) / 128.0F)
                                          : static_cast<T>(sample);
  }
  return samples;
}

/// Source and target that all benchmarks share, touched before they are measured, and a second
/// target. Live as long as the process, as the registered benchmarks do.
template <typename S, typename D>
struct Buffers {
  const S* src = sharedSamples<S>();
  D* dst = sharedTarget<D, 0>();
  D* other = sharedTarget<D, 1>();

 private:
  template <typename T>
  static const T* sharedSamples() {
    static const T* const samples = makeSamples<T>();
    return samples;
  }
  template <typename T, int kNumber>
  static T* sharedTarget() {
    static T* const target = makeSamples<T>();
    return target;
  }
};

void registerCase(const std::string& name, std::size_t bytes, const std::function<void()>& work) {
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
void registerLimits(const std::string& name, const Size& size, const Buffers<S, D>& buffers) {
  const auto [src, dst, other] = buffers;
  const std::size_t written = size.samples() * sizeof(D);
  registerCase(name + "memset", written, [dst, written] { std::memset(dst, 1, written); });
  registerCase(name + "memcpy", 2 * written,
               [dst, other, written] { std::memcpy(dst, other, written); });
  if constexpr (sizeof(S) > sizeof(D)) {
    const std::size_t read = size.samples() * sizeof(S);
    // No byte of these samples is 1, so all of them are looked at.
    registerCase(name + "memchr", read,
                 [src, read] { benchmark::DoNotOptimize(std::memchr(src, 1, read)); });
  }
}

template <typename T>
constexpr const char* kType = std::is_same_v<T, float> ? "f32" : "u8";

template <typename S, typename D>
std::string pathName(ELayoutType from, ELayoutType to, const Size& size) {
  const auto layout = [](ELayoutType l) { return l == ELayoutType::CHW ? "_chw" : "_hwc"; };
  return std::string(kType<S>) + layout(from) + "_to_" + kType<D> + layout(to) + "/" + size.name() +
         "/";
}

/// Ours, the libraries that do the same, and what the machine needs at least.
template <typename S, typename D>
void registerPeers(ELayoutType from, ELayoutType to, const Size& size) {
  const std::string name = pathName<S, D>(from, to, size);
  const Buffers<S, D> buffers;
  const auto [src, dst, other] = buffers;
  const std::size_t bytes = size.samples() * (sizeof(S) + sizeof(D));
  const auto ours = [size, from, to](const S* source, D* target) {
    benchmark::DoNotOptimize(
        TransformImage(source, target, size.width, size.height, size.channels, from, to));
  };
  registerCase(name + "ours", bytes, [=, source = src, target = dst] { ours(source, target); });
  for (const auto& peer : OMB::bench::conversionPeers<S, D>(from, to, size.channels)) {
    ours(src, other);
    OMB::bench::requireSame(peer, src, other, dst, size.width, size.height, size.channels);
    registerCase(name + peer.name, bytes, [=, source = src, target = dst] {
      peer.convert(source, target, size.width, size.height);
    });
  }
  registerLimits(name, size, buffers);
}

template <typename S, typename D>
void registerLoops(ELayoutType from, ELayoutType to, const Size& size) {
  const std::string name = pathName<S, D>(from, to, size);
  const Buffers<S, D> buffers;
  const S* const src = buffers.src;
  D* const dst = buffers.dst;
  const std::size_t bytes = size.samples() * (sizeof(S) + sizeof(D));
  const auto plain = plainLoop<Checked, S, D>(from, to);
  registerCase(name + "plain_loop", bytes, [=] { plain(src, dst, size); });
  if constexpr (sizeof(S) > sizeof(D)) {
    const auto unchecked = plainLoop<Unchecked, S, D>(from, to);
    registerCase(name + "unchecked_loop", bytes, [=] { unchecked(src, dst, size); });
  }
}

template <typename S, typename D>
void registerPath(ELayoutType from, ELayoutType to, const Size& size) {
  registerPeers<S, D>(from, to, size);
  registerLoops<S, D>(from, to, size);
}

/// What networks that were trained on normalised samples take, beside the plain conversion.
template <typename S>
void registerNormalizing(const Size& size) {
  const std::string name = std::string(kType<S>) + "_hwc_to_normalized_chw/" + size.name() + "/";
  const Buffers<S, float> buffers;
  const S* const src = buffers.src;
  float* const dst = buffers.dst;
  const std::size_t bytes = size.samples() * (sizeof(S) + sizeof(float));
  registerCase(name + "ours", bytes, [=] {
    static constexpr OMB::ImageUtils::ChannelStatistics kStatistics[] = {
        {0.485F, 0.229F}, {0.456F, 0.224F}, {0.406F, 0.225F}};
    benchmark::DoNotOptimize(OMB::ImageUtils::NormalizeImage(
        src, dst, size.width, size.height, size.channels, ELayoutType::HWC, kStatistics,
        OMB::ImageUtils::EChannelOrder::REVERSED));
  });
  registerCase(name + "plain_conversion", bytes, [=] {
    benchmark::DoNotOptimize(TransformImage(src, dst, size.width, size.height, size.channels,
                                            ELayoutType::HWC, ELayoutType::CHW));
  });
}

/// The overload that allocates: both sides pay for a fresh array and its pages.
template <typename S>
void registerAllocating(EFormat format, const Size& size) {
  const std::string name = std::string(kType<S>) + "_hwc_to_new_f32_chw/" + size.name() + "/";
  const Buffers<S, float> buffers;
  const S* const src = buffers.src;
  const std::size_t bytes = size.samples() * (sizeof(S) + sizeof(float));
  registerCase(name + "ours", bytes, [=] {
    delete[] TransformImage(src, size.width, size.height, size.channels, format);
  });
  registerCase(name + "plain_loop", bytes, [=] {
    float* const dst = new float[size.samples()];
    plainToPlanar<Checked>(src, dst, size);
    benchmark::DoNotOptimize(dst);
    delete[] dst;
  });
}

template <typename S, typename D>
void registerPair() {
  constexpr ELayoutType kChw = ELayoutType::CHW;
  constexpr ELayoutType kHwc = ELayoutType::HWC;
  for (const int channels : {1, 3, 4}) registerPath<S, D>(kHwc, kHwc, {640, 640, channels});
  // With one channel both orders are the straight pass; with five, no vectors are used.
  for (const int channels : {2, 3, 4, 5}) {
    registerPath<S, D>(kHwc, kChw, {640, 640, channels});
    registerPath<S, D>(kChw, kHwc, {640, 640, channels});
  }
}

void registerAll() {
  registerPair<Byte, float>();
  registerPair<float, Byte>();
  registerPair<Byte, Byte>();
  registerPair<float, float>();
  for (const int channels : {3, 4}) {
    for (const auto& [width, height] : {std::pair(224, 224), {1920, 1080}, {3840, 2160}}) {
      const Size size = {width, height, channels};
      registerPeers<Byte, float>(ELayoutType::HWC, ELayoutType::CHW, size);
      registerPeers<float, Byte>(ELayoutType::CHW, ELayoutType::HWC, size);
      registerPeers<Byte, Byte>(ELayoutType::HWC, ELayoutType::CHW, size);
      registerPeers<float, float>(ELayoutType::HWC, ELayoutType::CHW, size);
    }
  }
  for (const Size& size : {Size{224, 224, 3}, Size{640, 640, 3}, Size{1920, 1080, 3}}) {
    registerNormalizing<Byte>(size);
    registerNormalizing<float>(size);
  }
  registerAllocating<Byte>(EFormat::U8, {640, 640, 3});
  registerAllocating<float>(EFormat::FP32, {640, 640, 3});
}

}  // namespace

int main(int count, char** arguments) {
  return OMB::bench::guarded(count, arguments, [](OMB::bench::Arguments all) {
    cv::setNumThreads(1);  // one thread on both sides
    registerAll();
    return OMB::bench::runBenchmarks(std::move(all));
  });
}
