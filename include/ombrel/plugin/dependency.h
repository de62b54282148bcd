// Dependency: a library that a plug-in rests on, with the digests of its acceptable files.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "ombrel/export.h"
#include "ombrel/platform/byte_vector.h"

namespace OMB {

/// One acceptable digest of one byte range of a library's file, in this order: the SHA-256 digest
/// as 32 raw bytes; the offset of the range's first byte from the start of the file; the number of
/// its bytes.
using HashRange = std::tuple<ByteVector, std::uint32_t, std::uint32_t>;

/// A value: every copy is a full copy. Threads: one object is used by one thread at a time.
class OMBREL_API Dependency {
 public:
  /// `name` (not null, copied) goes to Library as it is; `hashes` are the alternatives, in any
  /// order. A file that matches one of them is good, so a dependency without any never passes.
  Dependency(const char* name, std::vector<HashRange> hashes);
  ~Dependency() = default;
  Dependency(const Dependency&) = default;
  Dependency& operator=(const Dependency&) = default;
  /// Takes over both fields; the source is left with an empty name and no hashes.
  Dependency(Dependency&& other) noexcept;
  /// As the move constructor. Assigning an object to itself changes nothing.
  Dependency& operator=(Dependency&& other) noexcept;

  /// Points into the object; good until it is assigned to, moved from or destroyed.
  const char* GetName() const noexcept { return name.c_str(); }
  /// An independent copy.
  std::vector<HashRange> GetHash() const { return hashes; }

 private:
  std::string name;
  std::vector<HashRange> hashes;
};

}  // namespace OMB
