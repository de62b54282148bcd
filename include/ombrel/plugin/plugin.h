// Plugin: what a host and the PluginManager know of a plug-in.
#pragma once

#include <memory>
#include <string>

#include "ombrel/export.h"
#include "ombrel/model/entry_points.h"
#include "ombrel/plugin/dependency.h"
#include "ombrel/plugin/hash_checker.h"
#include "ombrel/plugin/repository.h"
#include "ombrel/plugin/return_codes.h"

namespace OMB {

/// A name, the suffix of its model files, the libraries that it depends on, and two entry points.
/// There is no loaded flag: a second direct Load runs everything again. See PluginManager for
/// loading once.
///
/// Threads: no lock. One object is used by one thread at a time.
class OMBREL_API Plugin {
 public:
  /// `name` and `modelSuffix` (neither null) and the dependencies are copied; later changes to the
  /// repository do not reach the plug-in. Both forms copy.
  Plugin(const char* name, const char* modelSuffix, Repository<Dependency>& dependencies);
  Plugin(const char* name, const char* modelSuffix, Repository<Dependency>&& dependencies);
  /// Copies share the checker, which has no state and goes with the last of them.
  Plugin(const Plugin&) = default;
  Plugin& operator=(const Plugin&) = default;
  virtual ~Plugin();

  /// The plug-in's entry "Create", null if there is none.
  virtual CreateFunction GetCreateMethod() const = 0;
  /// The plug-in's entry "Initialize", null if there is none.
  virtual InitializeFunction GetInitializeMethod() const = 0;

  /// Brings the plug-in into the process, proves its dependencies with `directory` in the loader's
  /// search, and calls the initialize entry. Returns PLUGIN_OK or a negative code; what was loaded
  /// by then stays loaded.
  [[nodiscard]] virtual int Load(std::string directory) = 0;

  /// A new object of the same class, which the caller owns.
  [[nodiscard]] virtual Plugin* Clone() const = 0;

  /// Both point into the object.
  const char* GetName() const noexcept { return name.c_str(); }
  const char* GetModelSuffix() const noexcept { return modelSuffix.c_str(); }

 protected:
  /// The result of IHashChecker::Check on the plug-in's dependencies.
  [[nodiscard]] virtual int CheckHashes(std::string directory) const;
  /// What every plug-in's Load ends in: CheckHashes, then a call of the initialize entry. Returns
  /// the code of the test if it fails, INITIALIZE_MISSING if there is no such entry, or PLUGIN_OK.
  [[nodiscard]] int TestAndInitialize(const std::string& directory) const;
  const Repository<Dependency>& GetDependencies() const noexcept { return dependencies; }

 private:
  std::string name;
  std::string modelSuffix;
  std::shared_ptr<const IHashChecker> hashChecker;
  Repository<Dependency> dependencies;
};

}  // namespace OMB
