// PluginManager: loads each plug-in once.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "ombrel/export.h"
#include "ombrel/plugin/plugin.h"

namespace OMB {

/// Holds the directory in which plug-ins and their dependencies are looked for, and a clone of each
/// plug-in that it has loaded. It hands out no entry points: the host asks its own Plugin.
///
/// Threads: any operation but the destructor may run at any time. Loads wait for one another, and
/// IsLoaded waits for them. An initialize entry must not call the manager that is loading it.
class OMBREL_API PluginManager {
 public:
  /// No plug-ins, and the directory "./".
  PluginManager();
  /// Destroys the clones. Unloads no library.
  virtual ~PluginManager();
  PluginManager(const PluginManager&) = delete;
  PluginManager& operator=(const PluginManager&) = delete;

  /// `directory` (not null, copied) goes to Plugin::Load as it is, for later loads only.
  void SetPluginsDirectory(const char* directory);
  /// Good until the next SetPluginsDirectory.
  const char* GetPluginsDirectory();

  /// True if a plug-in of that name, this object or another, was loaded by this manager.
  bool IsLoaded(Plugin& plugin);

  /// Loads the plug-in unless one of its name was loaded before. Returns PLUGIN_OK or the negative
  /// code of Plugin::Load; a plug-in that failed can be tried again. The object stays the caller's,
  /// who may destroy it at once. Exceptions of the plug-in, and std::bad_alloc, pass through.
  [[nodiscard]] int Load(Plugin& plugin);

 private:
  std::string CopyPluginsDirectory();

  std::map<std::string, Plugin*> plugins;
  std::string pluginsDirectory;
  std::mutex pluginsMutex;
  std::mutex directoryMutex;
};

}  // namespace OMB
