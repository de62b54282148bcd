#include "system/new_file.h"

#include <algorithm>
#include <filesystem>

#include "system/windows/windows_calls.h"

namespace OMB::system {
namespace {

bool writeAll(HANDLE file, std::span<const unsigned char> bytes) {
  constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;  // the call counts in 32 bits
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto part = static_cast<DWORD>(std::min(bytes.size(), kMostAtOnce));
    if (WriteFile(file, bytes.data(), part, &written, nullptr) == 0 || written == 0) return false;
    bytes = bytes.subspan(written);
  }
  return true;
}

}  // namespace

bool writeNewFile(const std::string& path, std::span<const unsigned char> first,
                  std::span<const unsigned char> second) {
  const std::wstring name = std::filesystem::path(path).wstring();
  const std::wstring temporary = name + L"." + std::to_wstring(GetCurrentProcessId());
  const HANDLE file = CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  const bool written =
      writeAll(file, first) && writeAll(file, second) && FlushFileBuffers(file) != 0;
  const bool closed = CloseHandle(file) != 0;
  if (written && closed &&
      MoveFileExW(temporary.c_str(), name.c_str(),
                  MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0) {
    return true;
  }
  DeleteFileW(temporary.c_str());
  return false;
}

}  // namespace OMB::system
