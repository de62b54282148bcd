#include "ombrel/platform/load_library.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "platform/console.h"
#include "platform/system_calls.h"

namespace OMB::Utility {
namespace {

// A call that succeeds leaves the last error alone, so an old one would pass for its own.
DWORD readSearchDirectory(std::vector<char>& array) {
  SetLastError(0);
  return GetDllDirectoryA(static_cast<DWORD>(array.size()), array.data());
}

// Nothing if no directory is set, or if it cannot be read.
std::optional<std::string> currentSearchDirectory() {
  std::vector<char> array(1);
  for (;;) {
    const DWORD length = readSearchDirectory(array);
    if (GetLastError() != 0 || length == 0) return std::nullopt;
    if (length < array.size()) return std::string(array.data());
    array.assign(std::max<std::size_t>(length, array.size() + 1), '\0');
  }
}

// Puts the search directory that it found back when it goes.
class SearchDirectoryKeeper {
 public:
  SearchDirectoryKeeper() : saved_(currentSearchDirectory()) {}
  ~SearchDirectoryKeeper() {
    if (changed_) SetDllDirectoryA(saved_ ? saved_->c_str() : nullptr);
  }
  SearchDirectoryKeeper(const SearchDirectoryKeeper&) = delete;
  SearchDirectoryKeeper& operator=(const SearchDirectoryKeeper&) = delete;

  bool change(const char* directory) {
    changed_ = SetDllDirectoryA(directory) != 0;
    return changed_;
  }

 private:
  std::optional<std::string> saved_;
  bool changed_ = false;
};

}  // namespace

bool LoadLibraryA(const char* searchDirectory, Library& library) {
  {
    SearchDirectoryKeeper keeper;
    if (!keeper.change(searchDirectory)) {
      const auto code = static_cast<unsigned>(GetLastError());
      console::printError("Could not set the search directory path! Error %u\n", code);
      return false;
    }
    if (library.load()) return true;
  }
  const std::string error = library.get_error_string();
  console::printOut("Ombrel: Cannot load %s. %s\n", library.get_file_name().c_str(), error.c_str());
  return false;
}

}  // namespace OMB::Utility
