// The tags of a model pair under one key and one salt.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "ombrel/model/authentication.h"

#include "model/tag_format.h"
#include "system/gmac.h"

namespace OMB {

using Tag = std::array<unsigned char, kTagBytes>;

/// What a tag is bound to, next to the bytes: no two tags of one salt have the same.
struct TagPlace {
  EModelFile file;
  std::uint64_t segment;  ///< counted from 0
  bool isLast;            ///< whether the file ends with this one
};

/// The place of the last tag, of the file of tags itself.
inline constexpr TagPlace kTagsPlace{EModelFile::TAGS, 0, true};

class Tagger {
 public:
  /// Derives the keys of the salt. False when the system's cryptography fails, as below.
  [[nodiscard]] bool open(std::span<const unsigned char> key,
                          const std::array<unsigned char, 32>& salt);

  /// What shows that two taggers have the same key and salt, and nothing about the key.
  const std::array<unsigned char, 16>& keyCheck() const noexcept { return check; }

  [[nodiscard]] bool tag(const TagPlace& place, std::span<const unsigned char> bytes, Tag& tag);

 private:
  system::Gmac gmac;
  std::array<unsigned char, 16> check{};
};

}  // namespace OMB
