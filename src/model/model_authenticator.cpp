#include <algorithm>

#include "ombrel/model/authentication.h"

#include "model/tagger.h"
#include "system/random.h"

namespace OMB {

struct ModelAuthenticator::Parts {
  // A file's bytes on their way. A segment waits until more comes, since the last has another tag.
  struct Stream {
    ByteVector waiting;
    ByteVector tags;
    std::uint64_t bytes = 0;
  };

  bool tag(EModelFile file, bool isLast);

  TagHeader header;
  Tagger tagger;
  Stream streams[2];  // by EModelFile
  bool works = false;
};

// Of what waits.
bool ModelAuthenticator::Parts::tag(EModelFile file, bool isLast) {
  Stream& stream = streams[static_cast<std::size_t>(file)];
  Tag tag;
  if (!tagger.tag({file, stream.tags.size() / kTagBytes, isLast}, stream.waiting, tag)) {
    return false;
  }
  stream.tags.insert(stream.tags.end(), tag.begin(), tag.end());
  stream.waiting.clear();
  return true;
}

ModelAuthenticator::ModelAuthenticator(const unsigned char* key, int keySize)
    : parts(std::make_unique<Parts>()) {
  parts->works = system::fillWithRandom(parts->header.salt) >= 0 &&
                 parts->tagger.open({key, static_cast<std::size_t>(keySize)}, parts->header.salt);
  parts->header.keyCheck = parts->tagger.keyCheck();
}

ModelAuthenticator::~ModelAuthenticator() = default;

void ModelAuthenticator::Add(EModelFile file, std::span<const unsigned char> bytes) {
  Parts::Stream& stream = parts->streams[static_cast<std::size_t>(file)];
  stream.bytes += bytes.size();
  while (!bytes.empty() && parts->works) {
    if (stream.waiting.size() == kSegmentBytes) parts->works = parts->tag(file, false);
    const auto part = bytes.first(std::min(bytes.size(), kSegmentBytes - stream.waiting.size()));
    stream.waiting.insert(stream.waiting.end(), part.begin(), part.end());
    bytes = bytes.subspan(part.size());
  }
}

ByteVector ModelAuthenticator::Finish() {
  for (const EModelFile file : {EModelFile::TEXT, EModelFile::WEIGHTS}) {
    const bool isEmpty = parts->streams[static_cast<std::size_t>(file)].waiting.empty();
    parts->works = parts->works && (isEmpty || parts->tag(file, true));
  }
  const auto& [text, weights] = parts->streams;
  parts->header.textBytes = text.bytes;
  parts->header.weightsBytes = weights.bytes;
  ByteVector result = writeTagHeader(parts->header);
  result.insert(result.end(), text.tags.begin(), text.tags.end());
  result.insert(result.end(), weights.tags.begin(), weights.tags.end());
  Tag all;
  if (!parts->works || !parts->tagger.tag(kTagsPlace, result, all)) return {};
  result.insert(result.end(), all.begin(), all.end());
  return result;
}

}  // namespace OMB
