// Libraries, as the system's loader knows them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "system/open_file.h"

namespace OMB::system {

/// A library that is open in the process; null for none.
using Module = void*;

/// Why something failed: a code, whose number is the one that Windows documents on every system, 0
/// when nothing did; and its text in UTF-8, empty where the text of the code says it all.
struct Failure {
  std::uint32_t code = 0;
  std::string text = {};
};

/// No file of that name is there. Any other code says that one is there and does not load.
inline constexpr std::uint32_t kModuleNotFound = 126;

/// What file names of libraries end in.
extern const char kModuleSuffix[];

struct Opened {
  Module module = nullptr;  ///< the caller's, to be closed
  Failure failure = {};     ///< of one that is null
};

/// Opens the library of a name in UTF-8 or the system's own bytes. One with a full path is that
/// file. Any other is looked for as a module that is in the process already (a bare name only), in
/// the search directory, and where the system looks by itself. What the library needs is looked
/// for in the search directory too.
Opened openModule(const char* name);

/// Gives back one opening.
Failure closeModule(Module module);

/// As closeModule, where the process ends: code of the module that is still to run, such as the
/// destructor of an object that a static holds, stays where it is.
Failure closeModuleForGood(Module module);

/// Address of a symbol that the module itself exports; null if it does not.
void* findSymbol(Module module, const char* name);

/// Characters of the longest path that is told whole; a longer one comes back cut.
inline constexpr std::size_t kLongestModulePath = 259;

/// Full path of the file that the module was opened from, in UTF-8 or the system's own bytes; empty
/// if it can't be told.
std::string moduleFile(Module module);

/// Whether the module's code is mapped from the very file that is open, and no other module goes by
/// the name under which others find this one.
bool isMappedFrom(Module module, const OpenFile& file);

}  // namespace OMB::system
