#include "system/open_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace OMB::system {

OpenFile::OpenFile(const std::string& path)
    : handle(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}

OpenFile::~OpenFile() {
  if (handle != kNone) close(static_cast<int>(handle));
}

std::int64_t OpenFile::size() const noexcept {
  struct stat status;
  if (fstat(static_cast<int>(handle), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
  return status.st_size;
}

std::size_t OpenFile::read(void* buffer, std::size_t size) noexcept {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got =
        ::read(static_cast<int>(handle), static_cast<char*>(buffer) + done, size - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

}  // namespace OMB::system
