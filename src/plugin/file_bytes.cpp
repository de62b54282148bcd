#include "plugin/file_bytes.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "ombrel/platform/byte_vector.h"

namespace OMB {

FileBytes::~FileBytes() {
  releaseBytes(bytes, room);
}

bool FileBytes::use(system::OpenFile& next, Looks looks) {
  const std::int64_t size = next.size();
  file = &next;
  looked = looks;
  used = size > 0 ? static_cast<std::size_t>(size) : 0;
  first = done = 0;
  makeRoom(looks == Looks::kAgain ? used : std::min(used, system::OpenFile::kPiece));
  return used > 0;
}

// The old memory goes first, so that there are never two.
void FileBytes::makeRoom(std::size_t size) {
  if (size <= room) return;
  releaseBytes(std::exchange(bytes, nullptr), std::exchange(room, 0));
  bytes = static_cast<unsigned char*>(allocateBytes(size));
  room = size;
}

std::span<const unsigned char> FileBytes::part(std::uint64_t begin, std::uint64_t end) {
  if (begin == end) return {bytes, 0};
  while (done <= begin) readPiece();
  return {bytes + (begin - first),
          static_cast<std::size_t>(std::min<std::uint64_t>(end, done) - begin)};
}

void FileBytes::readAll() {
  while (done < used) readPiece();
}

// What another file left behind must not pass for bytes of this one.
void FileBytes::readPiece() {
  if (looked == Looks::kOnce) first = done;
  unsigned char* const place = bytes + (done - first);
  const std::size_t wanted = std::min(used - done, system::OpenFile::kPiece);
  const std::size_t got = file->read(place, wanted);
  std::memset(place + got, 0, wanted - got);
  done += wanted;
}

}  // namespace OMB
