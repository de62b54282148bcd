#include "system/open_file.h"

#include <algorithm>

#include "system/text.h"
#include "system/windows/windows_calls.h"

namespace OMB::system {
namespace {

HANDLE handleOf(OpenFile::Native native) {
  return reinterpret_cast<HANDLE>(native);
}

}  // namespace

static_assert(OpenFile::kNone == -1, "INVALID_HANDLE_VALUE");

OpenFile::OpenFile(const std::string& path)
    : handle(reinterpret_cast<Native>(
          CreateFileW(to_wide(path).c_str(), GENERIC_READ,
                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr))) {}

OpenFile::~OpenFile() {
  if (handle != kNone) CloseHandle(handleOf(handle));
}

std::int64_t OpenFile::size() const noexcept {
  LARGE_INTEGER size;
  if (GetFileType(handleOf(handle)) != FILE_TYPE_DISK ||
      GetFileSizeEx(handleOf(handle), &size) == 0) {
    return -1;
  }
  return size.QuadPart;
}

std::size_t OpenFile::read(void* buffer, std::size_t size) noexcept {
  constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;  // the call counts in 32 bits
  std::size_t done = 0;
  while (done < size) {
    const auto part = static_cast<DWORD>(std::min(size - done, kMostAtOnce));
    DWORD got = 0;
    if (ReadFile(handleOf(handle), static_cast<char*>(buffer) + done, part, &got, nullptr) == 0 ||
        got == 0) {
      break;
    }
    done += got;
  }
  return done;
}

}  // namespace OMB::system
