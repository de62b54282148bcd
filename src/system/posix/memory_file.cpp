#include "system/memory_file.h"

#include <cstring>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace OMB::system {

MemoryFile::MemoryFile() : handle(memfd_create("ombrel", MFD_CLOEXEC)) {
  if (handle >= 0) name = "/proc/self/fd/" + std::to_string(handle);
}

MemoryFile::~MemoryFile() {
  if (handle < 0) return;
  (void)bytes();  // what nobody has asked for may have been written all the same
  if (!mapped.empty()) {
    std::memset(mapped.data(), 0, mapped.size());
    munmap(mapped.data(), mapped.size());
  }
  close(static_cast<int>(handle));
}

std::span<unsigned char> MemoryFile::bytes() noexcept {
  struct stat status;
  if (!mapped.empty() || handle < 0 || fstat(static_cast<int>(handle), &status) != 0) return mapped;
  const auto size = static_cast<std::size_t>(status.st_size);
  void* const block =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(handle), 0);
  if (block != MAP_FAILED) mapped = {static_cast<unsigned char*>(block), size};
  return mapped;
}

}  // namespace OMB::system
