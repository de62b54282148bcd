#include "system/search_directory.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "system/windows/windows_calls.h"

namespace OMB::system {
namespace {

// A call that succeeds leaves the last error alone, so an old one would pass for its own.
DWORD readInto(std::vector<char>& array) {
  SetLastError(0);
  return GetDllDirectoryA(static_cast<DWORD>(array.size()), array.data());
}

}  // namespace

std::optional<std::string> searchDirectory() {
  std::vector<char> array(1);
  for (;;) {
    const DWORD length = readInto(array);
    if (GetLastError() != 0 || length == 0) return std::nullopt;
    if (length < array.size()) return std::string(array.data());
    array.assign(std::max<std::size_t>(length, array.size() + 1), '\0');
  }
}

std::uint32_t setSearchDirectory(const char* directory) noexcept {
  return SetDllDirectoryA(directory) != 0 ? 0 : GetLastError();
}

}  // namespace OMB::system
