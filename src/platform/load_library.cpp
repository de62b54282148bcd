#include "ombrel/platform/load_library.h"

#include <cstdint>
#include <optional>
#include <string>

#include "platform/console.h"
#include "system/search_directory.h"

namespace OMB::Utility {
namespace {

// Puts the search directory that it found back when it goes.
class SearchDirectoryKeeper {
 public:
  SearchDirectoryKeeper() : saved(system::searchDirectory()) {}
  ~SearchDirectoryKeeper() {
    if (changed) system::setSearchDirectory(saved ? saved->c_str() : nullptr);
  }
  SearchDirectoryKeeper(const SearchDirectoryKeeper&) = delete;
  SearchDirectoryKeeper& operator=(const SearchDirectoryKeeper&) = delete;

  // 0, or the code of the failure.
  std::uint32_t change(const char* directory) {
    const std::uint32_t code = system::setSearchDirectory(directory);
    changed = code == 0;
    return code;
  }

 private:
  std::optional<std::string> saved;
  bool changed = false;
};

}  // namespace

bool LoadLibraryA(const char* searchDirectory, Library& library) {
  {
    SearchDirectoryKeeper keeper;
    if (const std::uint32_t code = keeper.change(searchDirectory); code != 0) {
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
