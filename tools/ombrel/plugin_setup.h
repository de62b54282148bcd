// From a manifest to a plug-in object.
#pragma once

#include <filesystem>
#include <string>

#include "ombrel/plugin/dependency.h"
#include "ombrel/plugin/dynamic_plugin.h"
#include "ombrel/plugin/repository.h"

#include "manifest.h"

namespace OMB::tool {

/// The manifest of the backend that this program was installed with.
std::filesystem::path defaultManifest();

/// Reads the manifest. Throws ToolError.
Manifest loadManifest(const std::filesystem::path& file);

/// The absolute folder of the plug-in whose manifest was read from `file`, without a separator at
/// its end.
std::filesystem::path pluginFolder(const std::filesystem::path& file, const Manifest& manifest);

Dependency makeDependency(const ManifestDependency& dependency);
DynamicPlugin makePlugin(const Manifest& manifest);

/// What a code of the plug-in system means, in words.
std::string describePluginCode(int code);

}  // namespace OMB::tool
