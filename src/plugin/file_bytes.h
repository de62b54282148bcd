// The bytes of one file after the other, in one buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "system/open_file.h"

namespace OMB {

/// Reads files once each, as far as they are asked for, so that what is done with a part is done
/// while the part is in the cache. The memory is that of the largest file so far, or of one piece
/// while no byte is looked at twice: fresh pages cost more than reading into them does.
class FileBytes {
 public:
  enum class Looks { kOnce, kAgain };

  FileBytes() = default;
  ~FileBytes();
  FileBytes(const FileBytes&) = delete;
  FileBytes& operator=(const FileBytes&) = delete;

  /// Goes over to another file, which has to outlive its use here, and of which nothing was read.
  /// False, and nothing can be asked for, if it has no size. Throws std::bad_alloc.
  bool use(system::OpenFile& next, Looks looks);

  std::uint64_t size() const noexcept { return used; }

  /// As many bytes from `begin` on as there are at hand, up to `end` and at least one, unless the
  /// two are equal: 0 <= begin <= end <= size(). With kOnce each begins where the one before ended,
  /// or further on. Bytes that the file does not give are 0. Good until the next call.
  std::span<const unsigned char> part(std::uint64_t begin, std::uint64_t end);

  /// Reads what is left of the file.
  void readAll();

 private:
  void makeRoom(std::size_t size);
  void readPiece();

  system::OpenFile* file = nullptr;
  Looks looked = Looks::kOnce;
  unsigned char* bytes = nullptr;
  std::size_t room = 0;
  std::size_t used = 0;   // the file's size
  std::size_t first = 0;  // where in the file the bytes begin that are there,
  std::size_t done = 0;   // and where those begin that are not read yet
};

}  // namespace OMB
