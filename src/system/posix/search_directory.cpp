#include "system/search_directory.h"

#include <mutex>
#include <new>
#include <string_view>

namespace OMB::system {
namespace {

constexpr std::uint32_t kNotEnoughMemory = 8;
constexpr std::uint32_t kInvalidArgument = 87;

// One more than the longest text that a wide path holds elsewhere.
constexpr std::size_t kLengthLimit = 32768;

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

std::optional<std::string> searchDirectory() {
  const std::lock_guard lock(setting().mutex);
  if (setting().directory.empty()) return std::nullopt;
  return setting().directory;
}

std::uint32_t setSearchDirectory(const char* directory) noexcept try {
  const std::string_view wanted(directory == nullptr ? "" : directory);
  if (wanted.size() >= kLengthLimit) return kInvalidArgument;
  const std::lock_guard lock(setting().mutex);
  setting().directory.assign(wanted);  // in place, so that what was there before finds its memory
  return 0;
} catch (const std::bad_alloc&) {
  return kNotEnoughMemory;
}

}  // namespace OMB::system
