#include "system/new_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace OMB::system {
namespace {

bool writeAll(int file, std::span<const unsigned char> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

// So that the new name outlives a loss of power. It is in place whether or not that works.
void storeFolderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  const int handle = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_CLOEXEC);
  if (handle < 0) return;
  (void)fsync(handle);
  close(handle);
}

}  // namespace

bool writeNewFile(const std::string& path, std::span<const unsigned char> first,
                  std::span<const unsigned char> second) {
  std::string temporary = path + ".XXXXXX";
  const int file = mkostemp(temporary.data(), O_CLOEXEC);  // with the rights 0600
  if (file < 0) return false;
  const bool written = writeAll(file, first) && writeAll(file, second) && fsync(file) == 0;
  const bool closed = close(file) == 0;
  if (!written || !closed || std::rename(temporary.c_str(), path.c_str()) != 0) {
    (void)unlink(temporary.c_str());
    return false;
  }
  storeFolderOf(path);
  return true;
}

}  // namespace OMB::system
