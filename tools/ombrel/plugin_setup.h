// What comes before a plug-in is loaded.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "ombrel/plugin/manifest.h"
#include "ombrel/plugin/package_verifier.h"

namespace OMB::tool {

/// The manifest of the backend that this program was installed with.
std::filesystem::path defaultManifest();

/// Reads the manifest. Throws ToolError.
Manifest loadManifest(const std::filesystem::path& file);

/// Looks at the files of the package whose manifest was read from `file`. Nothing is mapped by it.
std::unique_ptr<PackageVerifier> verifyPackage(const std::filesystem::path& file,
                                               const Manifest& manifest);

/// Tells what is wrong with the package, a line a file on standard error, and throws ToolError if
/// anything is.
void requireProven(const PackageVerifier& package);

/// What a code of the plug-in system means, in words.
std::string describePluginCode(int code);

}  // namespace OMB::tool
