// DynamicPlugin: a plug-in whose code lives in a library file.
#pragma once

#include <string>

#include "ombrel/export.h"
#include "ombrel/plugin/plugin.h"

namespace OMB {

/// Holds names only. Each look-up goes through a short-lived Library, and nothing is ever unloaded,
/// so entry points stay good until the process ends.
///
/// Threads: as Plugin; and since a look-up sets the loader's search directory, which belongs to the
/// process, none may run while something else is being loaded with another directory.
class OMBREL_API DynamicPlugin : public Plugin {
 public:
  /// `name` is the plug-in's name and the name of its library, as it goes to Library. Note the
  /// order: the initialize entry comes before the create entry. No string may be null; all are
  /// copied.
  DynamicPlugin(const char* name, const char* initializeMethodName, const char* createMethodName,
                const char* modelSuffix, Repository<Dependency>& dependencies);
  DynamicPlugin(const char* name, const char* initializeMethodName, const char* createMethodName,
                const char* modelSuffix, Repository<Dependency>&& dependencies);
  DynamicPlugin(const DynamicPlugin&) = default;
  DynamicPlugin& operator=(const DynamicPlugin&) = default;
  /// Copies what Plugin holds and takes over the strings: the source keeps its name, and is left
  /// with an empty loader name, directory and entry point names.
  DynamicPlugin(DynamicPlugin&& other);
  DynamicPlugin& operator=(DynamicPlugin&& other);
  ~DynamicPlugin() override;

  /// Points into the object.
  const char* GetLoaderName() const noexcept { return loaderName.c_str(); }

  /// The entry points by their names, null for one that the library does not export or if the
  /// library cannot be loaded, which prints a line. On an object that was never loaded they load
  /// the library with an empty search directory and no test of the dependencies.
  CreateFunction GetCreateMethod() const override;
  InitializeFunction GetInitializeMethod() const override;

  /// Loads the library with `directory` in the loader's search, then the dependencies, tests them,
  /// and calls the initialize entry. The create entry is not looked up. `directory` is kept for the
  /// look-ups, whatever comes out.
  ///
  /// Returns PLUGIN_LOAD_FAILED, with a second line on standard output, if the library cannot be
  /// loaded, the code of the test if that fails, INITIALIZE_MISSING, or PLUGIN_OK.
  [[nodiscard]] int Load(std::string directory) override;

  /// The clone has a checker of its own and an empty directory.
  [[nodiscard]] Plugin* Clone() const override;

 private:
  void* GetMethod(const char* methodName) const;

  std::string directory;
  std::string loaderName;
  std::string createMethodName;
  std::string initializeMethodName;
};

}  // namespace OMB
