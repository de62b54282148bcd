// The engine's list of plug-ins, which decides what code the engine opens.
#pragma once

#include <string>

namespace InferenceEngine {

/// Raises GeneralError for a list that names a library for a device which is not one of those
/// beside the engine's runtime. The engine looks beside the list first, and where the loader looks
/// last. A list that cannot be read passes: the engine tells what is wrong with it.
void requireOwnPlugins(const std::string& pluginList);

}  // namespace InferenceEngine
