// The tags of a model pair: what they are, and that no rearrangement of pair and tags passes.
#include "ombrel/model/authentication.h"

#include <algorithm>
#include <span>
#include <string>
#include <vector>

#include "ombrel/model/model_buffers.h"

#include "support.h"

namespace OMB {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr std::size_t kMebibyte = 1 << 20, kHeader = 76, kTag = 16;

const ByteVector kKey = test::fromHex("000102030405060708090a0b0c0d0e0f");

/// Bytes that differ from segment to segment.
ByteVector counted(std::size_t size, unsigned char step = 7) {
  ByteVector bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<unsigned char>(i * step + (i >> 20));
  }
  return bytes;
}

struct Pair {
  ByteVector text, weights, tags;

  Authenticity verify(const ByteVector& key = kKey) const {
    return verifyModel(ModelBytes{text, weights, tags}, key.data(), static_cast<int>(key.size()));
  }
};

ByteVector makeTags(const ByteVector& text, const ByteVector& weights,
                    std::size_t piece = 1 << 30) {
  ModelAuthenticator authenticator(kKey.data(), 16);
  for (const auto& [file, bytes] :
       {std::pair{EModelFile::TEXT, &text}, {EModelFile::WEIGHTS, &weights}}) {
    for (std::size_t i = 0; i < bytes->size(); i += piece) {
      const auto rest = std::span(*bytes).subspan(i);
      authenticator.Add(file, rest.first(std::min(piece, rest.size())));
    }
  }
  return authenticator.Finish();
}

Pair makePair(std::size_t textSize, std::size_t weightsSize, unsigned char step = 7) {
  Pair pair{
      counted(textSize, static_cast<unsigned char>(step + 4)), counted(weightsSize, step), {}};
  pair.tags = makeTags(pair.text, pair.weights);
  return pair;
}

// Made by another program: see docs/authentication.md.
TEST(Authentication, TagsAreThoseOfTheFormat) {
  Pair pair{{'<', 'n', 'e', 't', '/', '>'}, ByteVector(kMebibyte + 1), {}};
  for (std::size_t i = 0; i < pair.weights.size(); ++i) {
    pair.weights[i] = static_cast<unsigned char>(i * 7);
  }
  pair.tags = test::fromHex(
      "4f4d42524155544801000000202122232425262728292a2b2c2d2e2f303132333435363738393a3b3c3d3e3f"
      "cb025b324147bd6db6cc0379b117572606000000000000000100100000000000"
      "ec9d6dbbda9def82c452500d68518006b64c4cbdcf455c2c734b198453e14ac8"
      "96ef37ed1cef46222dc0a59bd9cb33d7ba1b41685899809a3372e5f25b306e12");
  EXPECT_TRUE(pair.verify().IsAuthentic());

  Pair empty{{}, {}, {pair.tags.begin(), pair.tags.begin() + 60}};
  const ByteVector rest =
      test::fromHex("0000000000000000000000000000000017697fe5aec28f884e40980efa6b7ab8");
  empty.tags.insert(empty.tags.end(), rest.begin(), rest.end());
  EXPECT_TRUE(empty.verify().IsAuthentic());
}

TEST(Authentication, ProvesFilesOfEveryLengthWhateverPiecesTheyCameIn) {
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, kMebibyte - 1, kMebibyte, kMebibyte + 1, 2 * kMebibyte}) {
    const ByteVector text = counted(size), weights = counted(size + 1);
    for (const std::size_t piece : {std::size_t{4095}, kMebibyte, 3 * kMebibyte}) {
      const Pair pair{text, weights, makeTags(text, weights, piece)};
      EXPECT_TRUE(pair.verify().IsAuthentic()) << size << " " << piece;
      EXPECT_NE(pair.tags, makeTags(text, weights)) << "a salt that was there before";
    }
  }
}

/// A part of a file, and the tag that goes with it; both lie where they were made.
struct Segment {
  Bytes bytes, tag;
};
using Segments = std::vector<Segment>;

void cutInto(Segments& segments, Bytes file, Bytes tags) {
  for (std::size_t i = 0; i < file.size(); i += kMebibyte) {
    segments.push_back({file.subspan(i, std::min(kMebibyte, file.size() - i)),
                        tags.subspan(kHeader + segments.size() * kTag, kTag)});
  }
}

/// A pair whose text has the first of these parts, with a header and tags that fit them as well as
/// whoever lacks the key can make them fit.
Pair join(const ByteVector& tags, const Segments& segments, std::size_t ofText) {
  Pair pair{{}, {}, {tags.begin(), tags.begin() + kHeader}};
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const auto& [bytes, tag] = segments[i];
    ByteVector& file = i < ofText ? pair.text : pair.weights;
    file.insert(file.end(), bytes.begin(), bytes.end());
    pair.tags.insert(pair.tags.end(), tag.begin(), tag.end());
  }
  for (std::size_t i = 0; i < 8; ++i) {
    pair.tags[60 + i] = static_cast<unsigned char>(pair.text.size() >> (8 * i));
    pair.tags[68 + i] = static_cast<unsigned char>(pair.weights.size() >> (8 * i));
  }
  pair.tags.insert(pair.tags.end(), tags.end() - kTag, tags.end());
  return pair;
}

class Attack : public testing::Test {
 protected:
  Attack() {
    cutInto(whole, pair.text, pair.tags);
    ofText = whole.size();
    cutInto(whole, pair.weights, pair.tags);
  }

  /// With the tags as they are, and with tags that go along.
  void expectRefused(const Segments& segments, std::size_t newOfText) {
    Pair changed = join(pair.tags, segments, newOfText);
    EXPECT_FALSE(changed.verify().IsAuthentic()) << "with tags that go along";
    changed.tags = pair.tags;
    EXPECT_FALSE(changed.verify().IsAuthentic()) << "with the tags as they are";
  }

  const Pair pair = makePair(kMebibyte + 2, 2 * kMebibyte + 5);
  Segments whole;
  std::size_t ofText;
};

TEST_F(Attack, CutsAreRefused) {
  ASSERT_TRUE(join(pair.tags, whole, ofText).verify().IsAuthentic());
  for (std::size_t border = 0; border < pair.weights.size(); border += kMebibyte) {
    for (const int beside : {-1, 0, 1}) {
      const std::size_t size = border + static_cast<std::size_t>(beside);
      if (size > pair.weights.size()) continue;
      SCOPED_TRACE(size);
      Segments shorter(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(ofText));
      cutInto(shorter, Bytes(pair.weights).first(size), pair.tags);
      expectRefused(shorter, ofText);
    }
  }
}

TEST_F(Attack, SegmentsInOtherPlacesAreRefused) {
  for (std::size_t i = 0; i < whole.size(); ++i) {
    for (std::size_t j = 0; j < whole.size(); ++j) {
      SCOPED_TRACE(testing::Message() << i << " and " << j);
      const auto place = static_cast<std::ptrdiff_t>(j);
      Segments changed = whole;
      changed.insert(changed.begin() + place, whole[i]);  // once more
      expectRefused(changed, ofText + (j < ofText ? 1 : 0));
      if (i == j) continue;
      changed = whole;
      std::swap(changed[i], changed[j]);
      expectRefused(changed, ofText);
    }
    Segments changed = whole;
    changed.erase(changed.begin() + static_cast<std::ptrdiff_t>(i));
    expectRefused(changed, ofText - (i < ofText ? 1 : 0));
  }
  Segments exchanged = whole;
  std::rotate(exchanged.begin(), exchanged.begin() + static_cast<std::ptrdiff_t>(ofText),
              exchanged.end());
  expectRefused(exchanged, whole.size() - ofText);
}

TEST_F(Attack, EveryBitOfTheTagsCounts) {
  const Pair small = makePair(6, 5);
  for (std::size_t bit = 0; bit < 8 * small.tags.size(); ++bit) {
    Pair changed = small;
    changed.tags[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
    EXPECT_FALSE(changed.verify().IsAuthentic()) << bit;
  }
  for (std::size_t size = 0; size < small.tags.size(); ++size) {
    Pair changed = small;
    changed.tags.resize(size);
    EXPECT_FALSE(changed.verify().IsAuthentic()) << size;
  }
}

TEST_F(Attack, EachHasItsOwnFinding) {
  using enum EAuthenticity;
  using enum EModelFile;
  const auto changed = [this](auto&& change) {
    Pair copy = pair;
    change(copy);
    return copy.verify();
  };
  const struct {
    Authenticity finding, expected;
    const char* text;
  } cases[] = {
      {pair.verify(), {AUTHENTIC}, "m is the pair that was authenticated"},
      {verifyModel("no/model", kKey.data(), 16), {MISSING}, "m.auth cannot be opened"},
      {pair.verify(ByteVector(16)),
       {OTHER_KEY},
       "m.auth was made with another key, or its first bytes were changed"},
      {changed([](Pair& p) { p.tags[0] = 0; }),
       {UNKNOWN_TAGS},
       "m.auth does not hold tags of this version"},
      {changed([](Pair& p) { p.tags[8] = 2; }),
       {UNKNOWN_TAGS},
       "m.auth does not hold tags of this version"},
      {changed([](Pair& p) { p.tags[kHeader] ^= 1; }), {CHANGED, TAGS}, "m.auth was changed"},
      {changed([](Pair& p) { p.tags.push_back(0); }), {CHANGED, TAGS}, "m.auth was changed"},
      {changed([](Pair& p) { p.text.back() ^= 1; }),
       {CHANGED, TEXT, 1},
       "m.xml was changed in MiB 1"},
      {changed([](Pair& p) { p.weights.back() ^= 1; }),
       {CHANGED, WEIGHTS, 2},
       "m.bin was changed in MiB 2"},
      {changed([](Pair& p) { p.weights.pop_back(); }),
       {OTHER_LENGTH, WEIGHTS},
       "m.bin is longer or shorter than the file that was authenticated"},
      {changed([](Pair& p) { p.tags = makePair(p.text.size(), p.weights.size(), 5).tags; }),
       {OTHER_PAIR},
       "m.auth is of another pair"},
  };
  for (const auto& [finding, expected, description] : cases) {
    EXPECT_EQ(finding, expected) << finding.Describe("m");
    EXPECT_EQ(finding.Describe("m"), description);
  }
}

TEST(Authentication, IsOfTheFilesOfABasePath) {
  const test::TemporaryDirectory folder;
  const Pair pair = makePair(100, kMebibyte + 1);
  folder.write("m.xml", pair.text);
  folder.write("m.bin", pair.weights);
  folder.write("m.auth", pair.tags);
  const std::string base = folder / "m";
  const ModelBuffers entered("m", {pair.text, pair.weights, pair.tags});
  for (const std::string& path : {base, std::string("m")}) {
    const ProvenModel model = readProvenModel(path.c_str(), kKey.data(), 16);
    EXPECT_TRUE(model.found.IsAuthentic());
    EXPECT_EQ(model.text, pair.text);
    EXPECT_EQ(model.weights, pair.weights);
  }
  folder.write("m.bin", counted(pair.weights.size(), 9));
  const ProvenModel changed = readProvenModel(base.c_str(), kKey.data(), 16);
  EXPECT_EQ(changed.found, (Authenticity{EAuthenticity::CHANGED, EModelFile::WEIGHTS, 0}));
  EXPECT_TRUE(changed.text.empty() && changed.weights.empty());
  for (const EModelFile file : {EModelFile::WEIGHTS, EModelFile::TEXT, EModelFile::TAGS}) {
    const char* const suffixes[] = {".xml", ".bin", ".auth"};
    std::filesystem::remove(base + suffixes[static_cast<std::size_t>(file)]);
    EXPECT_EQ(verifyModel(base.c_str(), kKey.data(), 16),
              (Authenticity{EAuthenticity::MISSING, file}));
  }
}

// So large that several threads share it: what they find is what one would.
TEST(Authentication, FindsTheFirstChangeOfALargePair) {
  const test::TemporaryDirectory folder;
  Pair pair = makePair(3 * kMebibyte, 16 * kMebibyte + 1);
  folder.write("m.xml", pair.text);
  folder.write("m.auth", pair.tags);
  for (const std::size_t segment : {std::size_t{16}, std::size_t{9}, std::size_t{0}}) {
    pair.weights[segment * kMebibyte] ^= 1;
    folder.write("m.bin", pair.weights);
    const Authenticity first{EAuthenticity::CHANGED, EModelFile::WEIGHTS, segment};
    EXPECT_EQ(pair.verify(), first);
    EXPECT_EQ(verifyModel((folder / "m").c_str(), kKey.data(), 16), first);
  }
  for (const std::size_t segment : {std::size_t{16}, std::size_t{9}, std::size_t{0}}) {
    pair.weights[segment * kMebibyte] ^= 1;
  }
  folder.write("m.bin", pair.weights);
  EXPECT_EQ(readProvenModel((folder / "m").c_str(), kKey.data(), 16).weights, pair.weights);
}

}  // namespace
}  // namespace OMB
