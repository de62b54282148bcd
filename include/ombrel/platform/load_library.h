// Loading a library with a folder of one's own in the search.
#pragma once

#include "ombrel/export.h"
#include "ombrel/platform/library.h"

namespace OMB::Utility {

/// Loads `library` with `searchDirectory` (not null, in the system's narrow encoding) in the
/// loader's search, and puts the previous search directory back, also when the load throws. A
/// relative name, with a folder or without, is looked for there first. Libraries that the library
/// needs are found there too; elsewhere than on Windows by their sonames, so one that has none, or
/// another than the name that it is needed by, is not, and the message says which that is.
///
/// Returns true when the library is loaded. A load that fails prints one line to standard output; a
/// directory that the platform refuses prints one to standard error, and `library` is not touched.
///
/// Threads: the search directory belongs to the process. Run one call at a time.
[[nodiscard]] OMBREL_API bool LoadLibraryA(const char* searchDirectory, Library& library);

}  // namespace OMB::Utility
