#include "model/tag_format.h"

#include <algorithm>

namespace OMB {
namespace {

constexpr std::array<unsigned char, 8> kMagic = {'O', 'M', 'B', 'R', 'A', 'U', 'T', 'H'};
constexpr std::uint32_t kVersion = 1;

// Little-endian on every machine.
template <typename Number>
void append(ByteVector& bytes, Number number) {
  for (std::size_t i = 0; i < sizeof(number); ++i) {
    bytes.push_back(static_cast<unsigned char>(number >> (8 * i)));
  }
}

template <typename Number>
Number take(std::span<const unsigned char>& bytes) {
  Number number = 0;
  for (std::size_t i = sizeof(number); i > 0; --i) {
    number = static_cast<Number>(number << 8 | bytes[i - 1]);
  }
  bytes = bytes.subspan(sizeof(number));
  return number;
}

template <std::size_t size>
void takeInto(std::array<unsigned char, size>& target, std::span<const unsigned char>& bytes) {
  std::copy_n(bytes.begin(), size, target.begin());
  bytes = bytes.subspan(size);
}

}  // namespace

std::optional<TagHeader> readTagHeader(std::span<const unsigned char> tags) {
  if (tags.size() < kTagHeaderBytes + kTagBytes) return std::nullopt;
  if (!std::equal(kMagic.begin(), kMagic.end(), tags.begin())) return std::nullopt;
  tags = tags.subspan(kMagic.size());
  if (take<std::uint32_t>(tags) != kVersion) return std::nullopt;
  TagHeader header;
  takeInto(header.salt, tags);
  takeInto(header.keyCheck, tags);
  header.textBytes = take<std::uint64_t>(tags);
  header.weightsBytes = take<std::uint64_t>(tags);
  return header;
}

ByteVector writeTagHeader(const TagHeader& header) {
  ByteVector bytes;
  bytes.reserve(static_cast<std::size_t>(tagFileBytes(header)));
  bytes.assign(kMagic.begin(), kMagic.end());
  append(bytes, kVersion);
  bytes.insert(bytes.end(), header.salt.begin(), header.salt.end());
  bytes.insert(bytes.end(), header.keyCheck.begin(), header.keyCheck.end());
  append(bytes, header.textBytes);
  append(bytes, header.weightsBytes);
  return bytes;
}

std::uint64_t segmentsOf(std::uint64_t bytes) {
  return bytes / kSegmentBytes + (bytes % kSegmentBytes != 0 ? 1 : 0);
}

std::uint64_t tagFileBytes(const TagHeader& header) {
  // No lengths are too long for that: 2^45 tags at most.
  return kTagHeaderBytes +
         (segmentsOf(header.textBytes) + segmentsOf(header.weightsBytes) + 1) * kTagBytes;
}

}  // namespace OMB
