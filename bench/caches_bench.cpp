// Conversions where it matters what is in the caches: the target is read next, as a network does,
// or the source comes from memory, as a camera leaves it. Names are SUBJECT/JOB_SIZE/PEER.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <benchmark/benchmark.h>

#include "ombrel/image/transform_image.h"

#include "conversion_peers.h"
#include "paired.h"
#include "program.h"

namespace OMB::bench {
namespace {

using Byte = unsigned char;
using enum ImageUtils::ELayoutType;

constexpr int kChannels = 3;

/// More than the caches hold.
class Others {
 public:
  /// Reads it all, which leaves nothing else in the caches.
  void read() { benchmark::DoNotOptimize(std::accumulate(words.begin(), words.end(), 0ULL)); }

 private:
  std::vector<std::uint64_t> words = std::vector<std::uint64_t>(std::size_t{16} << 20, 1);
};

template <typename T>
std::vector<T> makeSamples(std::size_t count) {
  std::vector<T> samples(count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto sample = static_cast<Byte>(i * 31);
    samples[i] = std::is_same_v<T, float> ? static_cast<T>(static_cast<float>(sample) / 256.0F)
                                          : static_cast<T>(sample);
  }
  return samples;
}

template <typename S, typename D>
struct Job {
  Job(ImageUtils::ELayoutType from, ImageUtils::ELayoutType to, int imageWidth, int imageHeight,
      const std::string& peerName)
      : width(imageWidth),
        height(imageHeight),
        src(makeSamples<S>(std::size_t{kChannels} * static_cast<std::size_t>(width) *
                           static_cast<std::size_t>(height))),
        dst(src.size()),
        ours([=](const S* source, D* target, int w, int h) {
          benchmark::DoNotOptimize(
              ImageUtils::TransformImage(source, target, w, h, kChannels, from, to));
        }) {
    for (const Peer<S, D>& peer : conversionPeers<S, D>(from, to, kChannels)) {
      if (peer.name == peerName) theirs = peer.convert;
    }
    if (!theirs) throw std::runtime_error("no peer is called " + peerName);
  }

  void convert(const Conversion<S, D>& by) { by(src.data(), dst.data(), width, height); }
  /// A sample of each line of the cache.
  void readTarget() {
    for (std::size_t i = 0; i < dst.size(); i += 64 / sizeof(D)) benchmark::DoNotOptimize(dst[i]);
  }

  int width, height;
  std::vector<S> src;
  std::vector<D> dst;
  Conversion<S, D> ours, theirs;
};

void registerRow(const std::string& name, const Work& ours, const Work& peer, const Work& before) {
  const auto measure = [=](benchmark::State& state) { measurePair(state, ours, peer, before); };
  benchmark::RegisterBenchmark(name.c_str(), measure)->UseManualTime()->Iterations(61);
}

template <typename S, typename D>
void registerJob(const std::string& name, ImageUtils::ELayoutType from, ImageUtils::ELayoutType to,
                 const std::string& peer, const std::shared_ptr<Others>& others) {
  for (const auto& [width, height] : {std::pair(640, 640), {1920, 1080}}) {
    const auto job = std::make_shared<Job<S, D>>(from, to, width, height, peer);
    const std::string place = "/" + name + "_" + std::to_string(width) + "x" +
                              std::to_string(height) + "x" + std::to_string(kChannels) + "/" + peer;
    const auto readNext = [job](const Conversion<S, D>& by) {
      job->convert(by);
      job->readTarget();
    };
    registerRow(
        "read_next" + place, [=] { readNext(job->ours); }, [=] { readNext(job->theirs); }, [] {});
    registerRow(
        "cold" + place, [=] { job->convert(job->ours); }, [=] { job->convert(job->theirs); },
        [=] { others->read(); });
  }
}

int main(Arguments arguments) {
  const auto others = std::make_shared<Others>();
  registerJob<Byte, float>("u8_hwc_to_f32_chw", HWC, CHW, "halide", others);
  registerJob<float, Byte>("f32_chw_to_u8_hwc", CHW, HWC, "halide", others);
  registerJob<Byte, Byte>("u8_hwc_to_u8_chw", HWC, CHW, "split", others);
  registerJob<float, float>("f32_hwc_to_f32_chw", HWC, CHW, "split", others);
  return runBenchmarks(std::move(arguments));
}

}  // namespace
}  // namespace OMB::bench

int main(int count, char** arguments) {
  return OMB::bench::guarded(count, arguments, OMB::bench::main);
}
