#include "plugin/file_digests.h"

#include <algorithm>
#include <deque>

#include "system/digest.h"

namespace OMB {
namespace {

class RangeDigest {
 public:
  explicit RangeDigest(const ExpectedDigest& digest) : expected(digest) {
    std::uint32_t length = 0;
    working = sha.open() >= 0 && sha.getObjectLength() >= 0 && sha.allocateObject() &&
              sha.getDigestLength(length) >= 0 && sha.allocateDigest() && sha.create() >= 0;
  }

  /// The piece of the file that begins at `offset`; what lies outside the range is left out.
  void add(const unsigned char* piece, std::uint64_t offset, std::uint64_t size) {
    const std::uint64_t start = std::max(offset, expected.offset);
    const std::uint64_t end = std::min(offset + size, expected.offset + expected.length);
    if (start >= end || !working) return;
    working = sha.add(piece + (start - offset), static_cast<std::uint32_t>(end - start)) >= 0;
  }

  /// Once, behind the last piece.
  bool finish() { return working && sha.finish() >= 0; }
  bool matches() const {
    return std::equal(expected.sha256.begin(), expected.sha256.end(), sha.value());
  }
  bool isOf(std::uint64_t size) const { return expected.offset == 0 && expected.length == size; }

 private:
  ExpectedDigest expected;
  system::Digest sha;
  bool working;
};

bool readInto(std::deque<RangeDigest>& ranges, system::OpenFile& file, std::uint64_t size) {
  std::vector<unsigned char> piece(std::min<std::uint64_t>(size, system::OpenFile::kPiece));
  for (std::uint64_t offset = 0; offset < size;) {
    const std::uint64_t wanted = std::min<std::uint64_t>(size - offset, piece.size());
    if (file.read(piece.data(), wanted) != wanted) return false;
    for (RangeDigest& range : ranges) range.add(piece.data(), offset, wanted);
    offset += wanted;
  }
  return std::ranges::all_of(ranges, [](RangeDigest& range) { return range.finish(); });
}

}  // namespace

Covered covered(system::OpenFile& file, std::uint64_t size,
                const std::vector<ExpectedDigest>& digests) {
  std::deque<RangeDigest> ranges;  // which do not move
  for (ExpectedDigest digest : digests) {
    if (digest.length == ExpectedDigest::kAll) digest.length = size - digest.offset;
    if (digest.offset + digest.length <= size) ranges.emplace_back(digest);
  }
  if (!readInto(ranges, file, size)) return Covered::kUnread;
  Covered result = Covered::kNothing;
  for (const RangeDigest& range : ranges) {
    if (range.matches())
      result = std::max(result, range.isOf(size) ? Covered::kWhole : Covered::kPart);
  }
  return result;
}

}  // namespace OMB
