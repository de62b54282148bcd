#include "ombrel/model/authentication.h"

#include <functional>
#include <optional>

#include "ombrel/model/model_buffers.h"

#include "model/pair_comparison.h"
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

// The lengths of the pair's files, by tags that are proven; nothing if they are right.
std::optional<Authenticity> findOtherLength(const TagHeader& header, std::uint64_t text,
                                            std::uint64_t weights) {
  if (text != header.textBytes) return Authenticity{EAuthenticity::OTHER_LENGTH, EModelFile::TEXT};
  if (weights == header.weightsBytes) return std::nullopt;
  return Authenticity{EAuthenticity::OTHER_LENGTH, EModelFile::WEIGHTS};
}

// A pair whose bytes are asked for only when all else is proven: by then they may still have to be
// read.
struct Pair {
  Bytes tags;
  std::uint64_t text, weights;  // lengths
  std::function<ModelBytes()> bytes;
  SegmentReader read;
};

Authenticity verify(const Pair& pair, Bytes key) {
  const std::optional<TagHeader> header = readTagHeader(pair.tags);
  if (!header) return {EAuthenticity::UNKNOWN_TAGS};
  Tagger tagger;
  if (!tagger.open(key, header->salt)) return {};
  std::optional<Authenticity> fault = findFaultInTags(*header, pair.tags, tagger);
  if (!fault) fault = findOtherLength(*header, pair.text, pair.weights);
  return fault ? *fault : comparePair(*header, pair.bytes(), tagger, key, pair.read);
}

}  // namespace

Authenticity verifyModel(const ModelBytes& bytes, const unsigned char* key, int keySize) {
  const auto asTheyAre = [&] { return bytes; };
  return verify({bytes.tags, bytes.text.size(), bytes.weights.size(), asTheyAre, {}},
                {key, static_cast<std::size_t>(keySize)});
}

ProvenModel readProvenModel(const char* base, const unsigned char* key, int keySize) {
  const std::string path = base;
  std::size_t sizes[3];
  for (const EModelFile file : {EModelFile::TAGS, EModelFile::TEXT, EModelFile::WEIGHTS}) {
    const std::int64_t size = modelFileSize(path, suffixOf(file));
    if (size < 0) return {{EAuthenticity::MISSING, file}, {}, {}};
    sizes[static_cast<std::size_t>(file)] = static_cast<std::size_t>(size);
  }
  const auto [text, weights, ofTags] = sizes;
  ByteVector tags(ofTags);
  readModelFile(path, kTagsSuffix, tags.data(), tags.size());
  ProvenModel model;
  const auto makeRoom = [&, text = text, weights = weights] {
    model.text.resize(text);
    model.weights.resize(weights);
    return ModelBytes{model.text, model.weights, tags};
  };
  const SegmentReader read = [&](EModelFile file, std::size_t offset, std::size_t size) {
    ByteVector& bytes = file == EModelFile::TEXT ? model.text : model.weights;
    readModelFile(path, suffixOf(file), offset, bytes.data() + offset, size);
  };
  model.found =
      verify({tags, text, weights, makeRoom, read}, {key, static_cast<std::size_t>(keySize)});
  if (!model.found.IsAuthentic()) model.text = model.weights = {};
  return model;
}

Authenticity verifyModel(const char* base, const unsigned char* key, int keySize) {
  return readProvenModel(base, key, keySize).found;
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
