#include "system/open_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace OMB::system {

OpenFile::OpenFile(const std::string& path, Others /*others*/)
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

std::int64_t OpenFile::lastChange() const noexcept {
  struct stat status;
  if (fstat(static_cast<int>(handle), &status) != 0) return 0;
  return std::int64_t{status.st_ctim.tv_sec} * 1'000'000'000 + status.st_ctim.tv_nsec;
}

bool OpenFile::isAt(const std::string& path) const noexcept {
  struct stat own, there;
  return fstat(static_cast<int>(handle), &own) == 0 && stat(path.c_str(), &there) == 0 &&
         own.st_dev == there.st_dev && own.st_ino == there.st_ino;
}

}  // namespace OMB::system
