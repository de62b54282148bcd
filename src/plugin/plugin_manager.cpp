#include "ombrel/plugin/plugin_manager.h"

#include <memory>

namespace OMB {

PluginManager::PluginManager() : pluginsDirectory("./") {}

PluginManager::~PluginManager() {
  for (const auto& [name, plugin] : plugins) delete plugin;
}

void PluginManager::SetPluginsDirectory(const char* directory) {
  const std::lock_guard lock(directoryMutex);
  pluginsDirectory = directory;
}

const char* PluginManager::GetPluginsDirectory() {
  const std::lock_guard lock(directoryMutex);
  return pluginsDirectory.c_str();
}

bool PluginManager::IsLoaded(Plugin& plugin) {
  const std::lock_guard lock(pluginsMutex);
  return plugins.contains(plugin.GetName());
}

int PluginManager::Load(Plugin& plugin) {
  if (IsLoaded(plugin)) return PLUGIN_OK;
  // Before the other lock is taken, so that the two are never held together.
  std::string directory = CopyPluginsDirectory();

  const std::lock_guard lock(pluginsMutex);
  const int code = plugin.Load(std::move(directory));
  if (code != PLUGIN_OK) return code;
  std::unique_ptr<Plugin> clone(plugin.Clone());
  // Another thread may have come first; its clone stays, and this one goes.
  if (plugins.emplace(plugin.GetName(), clone.get()).second) clone.release();
  return PLUGIN_OK;
}

std::string PluginManager::CopyPluginsDirectory() {
  const std::lock_guard lock(directoryMutex);
  return pluginsDirectory;
}

}  // namespace OMB
