// What a library file says of itself before it is loaded.
#pragma once

#include <string>
#include <vector>

namespace OMB::system {

struct LibraryFile {
  /// Why the loader must not be given the file, in English; null for a whole library of this
  /// machine.
  const char* fault = nullptr;
  /// The name by which others find it once it is in the process; empty if it has none.
  std::string soname = {};
  /// Names of the libraries that it needs, in its own order.
  std::vector<std::string> needed = {};
};

/// Reads the headers and the dynamic section of an ELF file that is open for reading. The loader
/// maps a file that was cut short and then ends the process at the first access behind its end, so
/// that is told here. Nothing in the file is trusted.
LibraryFile readLibraryFile(int descriptor);

}  // namespace OMB::system
