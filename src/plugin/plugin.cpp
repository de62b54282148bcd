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

}  // namespace OMB
