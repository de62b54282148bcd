// Digests of several ranges of one file, of one reading.
#pragma once

#include <cstdint>
#include <vector>

#include "ombrel/plugin/manifest.h"

#include "system/open_file.h"

namespace OMB {

/// A digest that bytes of a file should have.
struct ExpectedDigest {
  static constexpr std::uint64_t kAll = -1ULL;

  Sha256 sha256;
  std::uint64_t offset;
  std::uint64_t length;  ///< kAll: to the end of the file
};

enum class Covered {
  kUnread,   ///< the file ended too early, or a digest could not be made
  kNothing,  ///< no digest is the file's
  kPart,     ///< one is, of a part of the file
  kWhole,    ///< one is, of all of it
};

/// How much of the file, of `size` bytes and not read yet, the digests prove. Reads it once.
Covered covered(system::OpenFile& file, std::uint64_t size,
                const std::vector<ExpectedDigest>& digests);

}  // namespace OMB
