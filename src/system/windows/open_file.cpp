#include "system/open_file.h"

#include <algorithm>

#include "system/text.h"
#include "system/windows/windows_calls.h"

namespace OMB::system {
namespace {

HANDLE handleOf(OpenFile::Native native) {
  return reinterpret_cast<HANDLE>(native);
}

DWORD sharedWith(OpenFile::Others others) {
  const bool locked = others == OpenFile::Others::kLockedOut;
  return FILE_SHARE_READ | (locked ? 0 : FILE_SHARE_WRITE | FILE_SHARE_DELETE);
}

}  // namespace

static_assert(OpenFile::kNone == -1, "INVALID_HANDLE_VALUE");

OpenFile::OpenFile(const std::string& path, Others others)
    : handle(reinterpret_cast<Native>(CreateFileW(to_wide(path).c_str(), GENERIC_READ,
                                                  sharedWith(others), nullptr, OPEN_EXISTING,
                                                  FILE_ATTRIBUTE_NORMAL, nullptr))) {}

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

std::int64_t OpenFile::lastChange() const noexcept {
  constexpr std::int64_t kFrom1601To1970 = 116444736000000000;  // in units of 100 nanoseconds
  FILE_BASIC_INFO info;
  if (GetFileInformationByHandleEx(handleOf(handle), FileBasicInfo, &info, sizeof info) == 0) {
    return 0;
  }
  return (info.ChangeTime.QuadPart - kFrom1601To1970) * 100;
}

bool OpenFile::isAt(const std::string& path) const noexcept {
  const OpenFile other(path);
  BY_HANDLE_FILE_INFORMATION own, there;
  return GetFileInformationByHandle(handleOf(handle), &own) != 0 &&
         GetFileInformationByHandle(handleOf(other.handle), &there) != 0 &&
         own.dwVolumeSerialNumber == there.dwVolumeSerialNumber &&
         own.nFileIndexHigh == there.nFileIndexHigh && own.nFileIndexLow == there.nFileIndexLow;
}

}  // namespace OMB::system
