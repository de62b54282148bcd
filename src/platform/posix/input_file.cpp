#include "platform/input_file.h"

#include <sys/stat.h>

#include "platform/text.h"

namespace OMB {
namespace {

bool isFolder(const char* fileName) {
  struct stat status = {};
  return stat(fileName, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::ifstream openForReading(const char* fileName, std::ios::openmode mode) {
  std::ifstream stream;
  if (isFolder(fileName)) {
    stream.setstate(std::ios::failbit);  // the system would open it, and report an absurd size
  } else {
    stream.open(fileName, std::ios::in | std::ios::binary | mode);
  }
  return stream;
}

std::ifstream openForReading(const wchar_t* fileName, std::ios::openmode mode) {
  return openForReading(to_utf8(fileName).c_str(), mode);
}

}  // namespace OMB
