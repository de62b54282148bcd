#include "ombrel/platform/file_utils.h"

#include <algorithm>
#include <limits>
#include <new>

#include "platform/file_part.h"
#include "system/input_file.h"

namespace OMB::Utility {
namespace {

// A stream needs memory; a file for which there is none cannot be opened, here and below.
template <typename Character>
std::int64_t sizeOf(const Character* fileName) {
  try {
    std::ifstream file = system::openForReading(fileName, std::ios::binary | std::ios::ate);
    return static_cast<std::int64_t>(file.tellg());  // -1 for a stream that did not open
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

template <typename Character>
void readInto(const Character* fileName, std::uint64_t offset, void* buffer, std::uint64_t size) {
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::streamsize>::max());
  try {
    std::ifstream file = system::openForReading(fileName, std::ios::binary);
    if (offset > 0) file.seekg(static_cast<std::streamoff>(offset));
    file.read(static_cast<char*>(buffer), static_cast<std::streamsize>(std::min(size, kMost)));
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace

std::int64_t fileSize(const char* fileName) {
  return sizeOf(fileName);
}
std::int64_t fileSize(const wchar_t* fileName) {
  return sizeOf(fileName);
}
std::int64_t fileSize(std::string fileName) {
  return fileSize(fileName.c_str());
}
std::int64_t fileSize(std::wstring fileName) {
  return fileSize(fileName.c_str());
}

void readAllFile(const std::string& fileName, void* buffer, std::uint64_t size) {
  readInto(fileName.c_str(), 0, buffer, size);
}

void readAllFile(const std::wstring& fileName, void* buffer, std::uint64_t size) {
  readInto(fileName.c_str(), 0, buffer, size);
}

}  // namespace OMB::Utility

void OMB::platform::readFilePart(const std::string& fileName, std::uint64_t offset, void* buffer,
                                 std::uint64_t size) {
  Utility::readInto(fileName.c_str(), offset, buffer, size);
}
