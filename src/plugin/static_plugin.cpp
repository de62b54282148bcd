#include "ombrel/plugin/static_plugin.h"

#include <utility>

namespace OMB {

StaticPlugin::StaticPlugin(const char* pluginName, InitializeFunction initializeEntry,
                           CreateFunction createEntry, const char* suffix,
                           Repository<Dependency>& libraries)
    : Plugin(pluginName, suffix, libraries), initialize(initializeEntry), create(createEntry) {}

StaticPlugin::StaticPlugin(const char* pluginName, InitializeFunction initializeEntry,
                           CreateFunction createEntry, const char* suffix,
                           Repository<Dependency>&& libraries)
    : StaticPlugin(pluginName, initializeEntry, createEntry, suffix, libraries) {}

int StaticPlugin::Load(std::string directory) {
  const int code = CheckHashes(std::move(directory));
  if (code != PLUGIN_OK) return code;
  const InitializeFunction entry = GetInitializeMethod();
  if (entry == nullptr) return INITIALIZE_MISSING;
  entry();
  return PLUGIN_OK;
}

Plugin* StaticPlugin::Clone() const {
  return new StaticPlugin(GetName(), initialize, create, GetModelSuffix(),
                          Repository<Dependency>(GetDependencies()));
}

}  // namespace OMB
