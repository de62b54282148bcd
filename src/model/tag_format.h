// Where what stands in a file of tags: docs/authentication.md.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "ombrel/platform/byte_vector.h"

namespace OMB {

inline constexpr std::size_t kSegmentBytes = std::size_t{1} << 20;
inline constexpr std::size_t kTagBytes = 16;
inline constexpr std::size_t kTagHeaderBytes = 76;

/// What the file begins with. The first tag follows at once, one a segment, those of the text in
/// front of those of the weights; the last is of all that stands in front of it.
struct TagHeader {
  std::array<unsigned char, 32> salt{};
  std::array<unsigned char, 16> keyCheck{};  ///< tells a wrong key from changed bytes
  std::uint64_t textBytes = 0;
  std::uint64_t weightsBytes = 0;
};

/// The header of a whole file of tags; nothing if it is none of this version.
std::optional<TagHeader> readTagHeader(std::span<const unsigned char> tags);
/// With room for the tags behind it.
ByteVector writeTagHeader(const TagHeader& header);

std::uint64_t segmentsOf(std::uint64_t bytes);
/// How long the file of tags is.
std::uint64_t tagFileBytes(const TagHeader& header);

}  // namespace OMB
