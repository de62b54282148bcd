#include "model/pair_comparison.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>

#include "platform/constant_time.h"
#include "platform/helpers.h"

namespace OMB {
namespace {

constexpr std::uint64_t kLeastSegments = 8;  // which pay for the start of a thread

struct Differences {
  std::uint64_t count = 0;
  std::uint64_t first = 0;  // of the segments that differ
};

// The segments of both files in one row, of which each thread takes the next.
class Comparison {
 public:
  Comparison(const ModelBytes& compared, const SegmentReader& reader)
      : pair(compared),
        read(reader),
        ofText(segmentsOf(compared.text.size())),
        all(ofText + segmentsOf(compared.weights.size())) {}

  std::uint64_t segments() const { return all; }
  void run(Tagger& tagger);
  void runBeside(std::span<const unsigned char> key, const std::array<unsigned char, 32>& salt);
  Authenticity result() const;

 private:
  void compare(std::uint64_t number, Tagger& tagger);
  void add(Differences& differences, std::uint64_t segment);

  const ModelBytes& pair;
  const SegmentReader& read;
  const std::uint64_t ofText, all;
  std::atomic<std::uint64_t> next = 0;
  std::atomic<bool> failed = false;
  std::mutex mutex;
  Differences text, weights;
};

void Comparison::run(Tagger& tagger) {
  for (std::uint64_t number; !failed && (number = next++) < all;) compare(number, tagger);
}

// What fails before a segment is taken is left to the others.
void Comparison::runBeside(std::span<const unsigned char> key,
                           const std::array<unsigned char, 32>& salt) {
  bool opened = false;
  try {
    Tagger tagger;
    opened = tagger.open(key, salt);
    if (opened) run(tagger);
  } catch (const std::exception&) {
    failed = failed || opened;
  }
}

void Comparison::compare(std::uint64_t number, Tagger& tagger) {
  const bool isText = number < ofText;
  const std::uint64_t segment = isText ? number : number - ofText;
  const std::span<const unsigned char> bytes = isText ? pair.text : pair.weights;
  const auto begin = static_cast<std::size_t>(segment) * kSegmentBytes;
  const std::size_t size = std::min(kSegmentBytes, bytes.size() - begin);
  const TagPlace place{isText ? EModelFile::TEXT : EModelFile::WEIGHTS, segment,
                       begin + size == bytes.size()};
  if (read) read(place.file, begin, size);
  Tag tag;
  if (!tagger.tag(place, bytes.subspan(begin, size), tag)) {
    failed = true;
    return;
  }
  const auto expected = kTagHeaderBytes + static_cast<std::size_t>(number) * kTagBytes;
  if (platform::equalInConstantTime(tag, pair.tags.subspan(expected, kTagBytes))) return;
  add(isText ? text : weights, segment);
}

void Comparison::add(Differences& differences, std::uint64_t segment) {
  const std::lock_guard lock(mutex);
  if (differences.count++ == 0 || segment < differences.first) differences.first = segment;
}

// Once all threads are done.
Authenticity Comparison::result() const {
  if (failed) return {};
  const std::uint64_t differing = text.count + weights.count;
  if (differing == 0) return {EAuthenticity::AUTHENTIC};
  if (differing == all) return {EAuthenticity::OTHER_PAIR};
  const bool inText = text.count > 0;
  return {EAuthenticity::CHANGED, inText ? EModelFile::TEXT : EModelFile::WEIGHTS,
          inText ? text.first : weights.first};
}

}  // namespace

Authenticity comparePair(const TagHeader& header, const ModelBytes& pair, Tagger& tagger,
                         std::span<const unsigned char> key, const SegmentReader& read) {
  Comparison comparison(pair, read);
  platform::runWithHelpers(
      platform::helpersFor(static_cast<std::size_t>(comparison.segments() / kLeastSegments)),
      [&] { comparison.runBeside(key, header.salt); }, [&] { comparison.run(tagger); });
  return comparison.result();
}

}  // namespace OMB
