// What comes before a plug-in is loaded.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "ombrel/plugin/manifest.h"
#include "ombrel/plugin/package_verifier.h"

namespace OMB::tool {

/// The manifest of the backend that this program was installed with.
std::filesystem::path defaultManifest();

/// Which package is to be loaded, and on which conditions.
struct PackageOptions {
  std::filesystem::path manifest = defaultManifest();
  std::filesystem::path trust;     ///< a public key that has to have signed it; empty: none has to
  std::uint64_t leastCounter = 0;  ///< of a manifest that is signed
  bool strict = false;             ///< what is a warning otherwise is refused
};

/// Reads the manifest. Throws ToolError, also if it is not signed as the options want.
Manifest loadManifest(const PackageOptions& options);

/// Looks at the files of the package. Nothing is mapped by it. Tells what is wrong with it, a line
/// a file on standard error, and throws ToolError if anything is. Warnings are told likewise: of
/// libraries that no list names only to those who are strict.
std::unique_ptr<PackageVerifier> provePackage(const PackageOptions& options,
                                              const Manifest& manifest);

/// What a code of the plug-in system means, in words.
std::string describePluginCode(int code);

}  // namespace OMB::tool
