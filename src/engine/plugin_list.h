// The engine's list of plug-ins, which decides what code the engine opens.
#pragma once

#include <string>

namespace InferenceEngine {

/// Raises GeneralError for a list that names a library for a device, unless it is by its plain name
/// one of the engine's runtime, which then lies beside the list: any other the engine would open
/// from where it is told, or where the loader finds one. A list that cannot be read passes: the
/// engine tells what is wrong with it.
void requireOwnPlugins(const std::string& pluginList);

}  // namespace InferenceEngine
