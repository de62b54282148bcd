#include "platform/posix/search_directory.h"

#include <cstddef>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "platform/posix/error_codes.h"
#include "platform/posix/posix_calls.h"

namespace {

// One more than the longest text that a wide path holds elsewhere.
constexpr std::size_t lengthLimit = 32768;

struct Setting {
  std::mutex mutex;
  std::string directory;  // guarded by mutex
};

// Never destroyed: libraries are loaded and closed until the process has ended.
Setting& setting() {
  static Setting& instance = *new Setting;
  return instance;
}

}  // namespace

namespace OMB::posix {

std::string searchDirectory() {
  const std::lock_guard lock(setting().mutex);
  return setting().directory;
}

}  // namespace OMB::posix

DWORD GetDllDirectoryA(DWORD size, char* directory) {
  const std::string current = OMB::posix::searchDirectory();
  if (current.empty()) return 0;
  const auto length = static_cast<DWORD>(current.size());
  if (length >= size) return length + 1;
  directory[current.copy(directory, length)] = '\0';
  return length;
}

BOOL SetDllDirectoryA(const char* directory) {
  const std::string_view wanted(directory == nullptr ? "" : directory);
  if (wanted.size() >= lengthLimit) {
    SetLastError(OMB::posix::invalidParameter);
    return 0;
  }
  // In place: what a caller puts back has been there before, and so needs no memory.
  const std::lock_guard lock(setting().mutex);
  try {
    setting().directory.assign(wanted);
  } catch (const std::bad_alloc&) {
    SetLastError(OMB::posix::notEnoughMemory);
    return 0;
  }
  return 1;
}
