// The system's temporary files are written to the disk when memory is short, and its pipes cannot
// be written out of order: it has nothing that would do.
#include "system/memory_file.h"

namespace OMB::system {

MemoryFile::MemoryFile() = default;
MemoryFile::~MemoryFile() = default;

std::span<unsigned char> MemoryFile::bytes() noexcept {
  return mapped;
}

}  // namespace OMB::system
