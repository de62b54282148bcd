#include "ombrel/plugin/static_plugin.h"

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
  return TestAndInitialize(directory);
}

Plugin* StaticPlugin::Clone() const {
  return new StaticPlugin(GetName(), initialize, create, GetModelSuffix(),
                          Repository<Dependency>(GetDependencies()));
}

}  // namespace OMB
