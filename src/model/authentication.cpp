#include "ombrel/model/authentication.h"

#include <algorithm>
#include <optional>

#include "ombrel/platform/file_utils.h"

#include "model/tagger.h"
#include "platform/constant_time.h"

namespace OMB {
namespace {

using Bytes = std::span<const unsigned char>;

const char* suffixOf(EModelFile file) {
  switch (file) {
    case EModelFile::TEXT:
      return ".xml";
    case EModelFile::WEIGHTS:
      return ".bin";
    default:
      return kTagsSuffix;
  }
}

// A pair's file, segment by segment against its tags.
struct Comparison {
  EModelFile file;
  Bytes bytes;
  Bytes tags;
  std::uint64_t differing = 0;
  std::uint64_t first = 0;  // of those that differ

  std::uint64_t segments() const { return segmentsOf(bytes.size()); }
  [[nodiscard]] bool run(Tagger& tagger);
};

bool Comparison::run(Tagger& tagger) {
  for (std::size_t segment = 0; segment < segments(); ++segment) {
    const std::size_t begin = segment * kSegmentBytes;
    const std::size_t size = std::min(kSegmentBytes, bytes.size() - begin);
    Tag tag;
    const TagPlace place{file, segment, begin + size == bytes.size()};
    if (!tagger.tag(place, bytes.subspan(begin, size), tag)) return false;
    const Bytes expected = tags.subspan(segment * kTagBytes, kTagBytes);
    if (!platform::equalInConstantTime(tag, expected) && differing++ == 0) first = segment;
  }
  return true;
}

// The tags themselves; nothing if they are as they were made.
std::optional<Authenticity> findFaultInTags(const TagHeader& header, Bytes tags, Tagger& tagger) {
  if (!platform::equalInConstantTime(tagger.keyCheck(), header.keyCheck)) {
    return Authenticity{EAuthenticity::OTHER_KEY};
  }
  if (tags.size() != tagFileBytes(header)) return Authenticity{EAuthenticity::CHANGED};
  Tag all;
  if (!tagger.tag(kTagsPlace, tags.first(tags.size() - kTagBytes), all)) return Authenticity{};
  if (platform::equalInConstantTime(all, tags.last(kTagBytes))) return std::nullopt;
  return Authenticity{EAuthenticity::CHANGED};
}

// The pair, by tags that are proven.
Authenticity comparePair(const TagHeader& header, const ModelBytes& pair, Tagger& tagger) {
  if (pair.text.size() != header.textBytes) {
    return {EAuthenticity::OTHER_LENGTH, EModelFile::TEXT};
  }
  if (pair.weights.size() != header.weightsBytes) {
    return {EAuthenticity::OTHER_LENGTH, EModelFile::WEIGHTS};
  }
  Comparison text{EModelFile::TEXT, pair.text, pair.tags.subspan(kTagHeaderBytes)};
  Comparison weights{EModelFile::WEIGHTS, pair.weights,
                     text.tags.subspan(text.segments() * kTagBytes)};
  if (!text.run(tagger) || !weights.run(tagger)) return {};
  const std::uint64_t differing = text.differing + weights.differing;
  if (differing == 0) return {EAuthenticity::AUTHENTIC};
  if (differing == text.segments() + weights.segments()) return {EAuthenticity::OTHER_PAIR};
  const Comparison& changed = text.differing > 0 ? text : weights;
  return {EAuthenticity::CHANGED, changed.file, changed.first};
}

std::optional<ByteVector> readFile(const std::string& name) {
  const std::int64_t size = Utility::fileSize(name);
  if (size < 0) return std::nullopt;
  ByteVector bytes(static_cast<std::size_t>(size));
  Utility::readAllFile(name, bytes.data(), bytes.size());
  return bytes;
}

}  // namespace

Authenticity verifyModel(const ModelBytes& bytes, const unsigned char* key, int keySize) {
  const std::optional<TagHeader> header = readTagHeader(bytes.tags);
  if (!header) return {EAuthenticity::UNKNOWN_TAGS};
  Tagger tagger;
  if (!tagger.open({key, static_cast<std::size_t>(keySize)}, header->salt)) return {};
  const std::optional<Authenticity> fault = findFaultInTags(*header, bytes.tags, tagger);
  return fault ? *fault : comparePair(*header, bytes, tagger);
}

Authenticity verifyModel(const char* base, const unsigned char* key, int keySize) {
  std::optional<ByteVector> files[3];
  for (const EModelFile file : {EModelFile::TAGS, EModelFile::TEXT, EModelFile::WEIGHTS}) {
    auto& bytes = files[static_cast<std::size_t>(file)];
    bytes = readFile(std::string(base) + suffixOf(file));
    if (!bytes) return {EAuthenticity::MISSING, file};
  }
  return verifyModel(ModelBytes{*files[0], *files[1], *files[2]}, key, keySize);
}

std::string Authenticity::Describe(const std::string& base) const {
  const std::string name = base + suffixOf(file);
  switch (verdict) {
    case EAuthenticity::AUTHENTIC:
      return base + " is the pair that was authenticated";
    case EAuthenticity::MISSING:
      return name + " cannot be opened";
    case EAuthenticity::UNKNOWN_TAGS:
      return name + " does not hold tags of this version";
    case EAuthenticity::OTHER_KEY:
      return name + " was made with another key, or its first bytes were changed";
    case EAuthenticity::OTHER_LENGTH:
      return name + " is longer or shorter than the file that was authenticated";
    case EAuthenticity::CHANGED:
      return name + " was changed" +
             (file == EModelFile::TAGS ? "" : " in MiB " + std::to_string(mebibyte));
    case EAuthenticity::OTHER_PAIR:
      return name + " is of another pair";
    case EAuthenticity::UNTESTED:
      break;
  }
  return base + " could not be authenticated: the system's cryptography failed";
}

}  // namespace OMB
