#include "ombrel/plugin/dynamic_plugin.h"

#include <utility>

#include "ombrel/platform/library.h"
#include "ombrel/platform/load_library.h"

#include "platform/console.h"

namespace OMB {

DynamicPlugin::DynamicPlugin(const char* pluginName, const char* initializeName,
                             const char* createName, const char* suffix,
                             Repository<Dependency>& libraries)
    : Plugin(pluginName, suffix, libraries),
      loaderName(pluginName),
      createMethodName(createName),
      initializeMethodName(initializeName) {}

DynamicPlugin::DynamicPlugin(const char* pluginName, const char* initializeName,
                             const char* createName, const char* suffix,
                             Repository<Dependency>&& libraries)
    : DynamicPlugin(pluginName, initializeName, createName, suffix, libraries) {}

DynamicPlugin::DynamicPlugin(DynamicPlugin&& other)
    : Plugin(other),
      directory(std::exchange(other.directory, {})),
      loaderName(std::exchange(other.loaderName, {})),
      createMethodName(std::exchange(other.createMethodName, {})),
      initializeMethodName(std::exchange(other.initializeMethodName, {})) {}

DynamicPlugin& DynamicPlugin::operator=(DynamicPlugin&& other) {
  Plugin::operator=(other);
  directory = std::exchange(other.directory, {});
  loaderName = std::exchange(other.loaderName, {});
  createMethodName = std::exchange(other.createMethodName, {});
  initializeMethodName = std::exchange(other.initializeMethodName, {});
  return *this;
}

DynamicPlugin::~DynamicPlugin() = default;

CreateFunction DynamicPlugin::GetCreateMethod() const {
  return reinterpret_cast<CreateFunction>(GetMethod(createMethodName.c_str()));
}

InitializeFunction DynamicPlugin::GetInitializeMethod() const {
  return reinterpret_cast<InitializeFunction>(GetMethod(initializeMethodName.c_str()));
}

int DynamicPlugin::Load(std::string searchDirectory) {
  directory = std::move(searchDirectory);
  Library library(loaderName);
  if (!Utility::LoadLibraryA(directory.c_str(), library)) {
    console::printOut("Ombrel: %s\n", library.get_error_string().c_str());
    return PLUGIN_LOAD_FAILED;
  }
  return TestAndInitialize(directory);
}

Plugin* DynamicPlugin::Clone() const {
  // A plug-in has one name, its library's too, but a source that was moved from has lost the
  // latter.
  auto clone = std::make_unique<DynamicPlugin>(GetName(), initializeMethodName.c_str(),
                                               createMethodName.c_str(), GetModelSuffix(),
                                               Repository<Dependency>(GetDependencies()));
  clone->loaderName = loaderName;
  return clone.release();
}

void* DynamicPlugin::GetMethod(const char* methodName) const {
  Library library(loaderName);
  if (!Utility::LoadLibraryA(directory.c_str(), library)) return nullptr;
  return library.get_method(methodName);
}

}  // namespace OMB
