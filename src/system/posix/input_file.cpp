#include "system/input_file.h"

#include <sys/stat.h>

#include "system/text.h"

namespace OMB::system {
namespace {

// What the system would open all the same: a folder, which has an absurd size, and at its end a
// pipe, which has none, and whose opening waits for somebody to write.
bool isRefused(const char* fileName, std::ios::openmode mode) {
  struct stat status = {};
  if (stat(fileName, &status) != 0) return false;
  return S_ISDIR(status.st_mode) || (S_ISFIFO(status.st_mode) && (mode & std::ios::ate) != 0);
}

}  // namespace

std::ifstream openForReading(const char* fileName, std::ios::openmode mode) {
  std::ifstream stream;
  if (isRefused(fileName, mode)) {
    stream.setstate(std::ios::failbit);
  } else {
    stream.open(fileName, std::ios::in | mode);
  }
  return stream;
}

std::ifstream openForReading(const wchar_t* fileName, std::ios::openmode mode) {
  return openForReading(to_utf8(fileName).c_str(), mode);
}

}  // namespace OMB::system
