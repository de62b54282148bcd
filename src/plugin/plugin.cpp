#include "ombrel/plugin/plugin.h"

#include <utility>

namespace OMB {

Plugin::Plugin(const char* pluginName, const char* suffix, Repository<Dependency>& libraries)
    : name(pluginName),
      modelSuffix(suffix),
      hashChecker(std::unique_ptr<IHashChecker>(HashCheckerFactory().Create())),
      dependencies(libraries) {}

Plugin::Plugin(const char* pluginName, const char* suffix, Repository<Dependency>&& libraries)
    : Plugin(pluginName, suffix, libraries) {}

Plugin::~Plugin() {
  hashChecker.reset();
}

int Plugin::CheckHashes(std::string directory) const {
  return hashChecker->Check(dependencies, std::move(directory));
}

int Plugin::TestAndInitialize(const std::string& directory) const {
  const int code = CheckHashes(directory);
  if (code != PLUGIN_OK) return code;
  const InitializeFunction entry = GetInitializeMethod();
  if (entry == nullptr) return INITIALIZE_MISSING;
  entry();
  return PLUGIN_OK;
}

}  // namespace OMB
