// StaticPlugin: a plug-in whose entry points are already in the process.
#pragma once

#include <string>

#include "ombrel/export.h"
#include "ombrel/plugin/plugin.h"

namespace OMB {

/// Threads: as Plugin.
class OMBREL_API StaticPlugin : public Plugin {
 public:
  /// `initialize` and `create` may be null; a plug-in without the former does not load.
  StaticPlugin(const char* name, InitializeFunction initialize, CreateFunction create,
               const char* modelSuffix, Repository<Dependency>& dependencies);
  StaticPlugin(const char* name, InitializeFunction initialize, CreateFunction create,
               const char* modelSuffix, Repository<Dependency>&& dependencies);

  CreateFunction GetCreateMethod() const override { return create; }
  InitializeFunction GetInitializeMethod() const override { return initialize; }

  /// Tests the dependencies, then calls the initialize entry. Returns the code of the test if it
  /// fails, INITIALIZE_MISSING if there is no such entry, else PLUGIN_OK. Prints nothing of its
  /// own.
  [[nodiscard]] int Load(std::string directory) override;

  /// The clone has a checker of its own.
  [[nodiscard]] Plugin* Clone() const override;

 private:
  InitializeFunction initialize;
  CreateFunction create;
};

}  // namespace OMB
