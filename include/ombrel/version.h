// The version of these headers, and of the framework that a process has loaded. docs/abi.md says
// what a version promises to hosts and backends that were built with another.
#pragma once

#include "ombrel/export.h"

// The only place where the number stands: the build and the packages have it from here.
#define OMBREL_VERSION_MAJOR 1  ///< Raised by what breaks hosts or backends.
#define OMBREL_VERSION_MINOR 0  ///< Raised by what is new.
#define OMBREL_VERSION_PATCH 0  ///< Raised by what is mended.

/// A version as one number, which later ones exceed, for the preprocessor as well: minor and patch
/// are below 1000.
#define OMBREL_VERSION_NUMBER(major, minor, patch) ((major)*1000000 + (minor)*1000 + (patch))

/// The version of the headers that a source is compiled with, as such a number.
#define OMBREL_VERSION_COMPILED \
  OMBREL_VERSION_NUMBER(OMBREL_VERSION_MAJOR, OMBREL_VERSION_MINOR, OMBREL_VERSION_PATCH)

namespace OMB {

/// The version of the framework library that this process has loaded, as OMBREL_VERSION_NUMBER
/// forms it. A host that needs what came with 1.2 asks for `loadedVersion() >=
/// OMBREL_VERSION_NUMBER(1, 2, 0)`. Thread-safe.
[[nodiscard]] OMBREL_API int loadedVersion() noexcept;

/// The same as text, as in "1.0.0"; it lives as long as the process. Thread-safe.
[[nodiscard]] OMBREL_API const char* loadedVersionText() noexcept;

}  // namespace OMB
