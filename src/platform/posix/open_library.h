// Finding and opening a library.
#pragma once

#include <dlfcn.h>
#include <memory>
#include <string>

#include "platform/posix/posix_calls.h"

namespace OMB::posix {

struct ModuleCloser {
  void operator()(void* module) const noexcept { dlclose(module); }
};
/// A module of the system's loader.
using Module = std::unique_ptr<void, ModuleCloser>;

/// What came of an attempt to open a library: the module, or the code and the text of the failure.
struct Opened {
  Module module;
  DWORD code = ERROR_MOD_NOT_FOUND;
  std::string text;  ///< empty if the text of the code says it all
};

/// A name with a separator is the path of the file. Any other is the file name of a module that is
/// in the process already, else of a file in the search directory, else of one that the system
/// finds.
Opened openLibrary(const std::string& name);

/// Full path of the file that the module is mapped from; empty for the program itself.
std::string fileOf(void* module);

/// The address of a symbol that the module itself exports; null if it does not, though what it
/// needs may.
void* findSymbol(void* module, const char* name);

}  // namespace OMB::posix
