#include "plugin/proven_plugin.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "ombrel/platform/library.h"
#include "ombrel/platform/load_library.h"

#include "platform/console.h"
#include "platform/library_table.h"
#include "plugin/path_text.h"

namespace OMB {

int ProvenPlugin::Load(std::string searchDirectory) {
  if (files == nullptr) {
    console::printError("Ombrel: Cannot load %s. Its package is not proven.\n", GetName());
    return INTEGRITY_CHECK_FAILED;
  }
  std::error_code none;
  if (!std::filesystem::equivalent(pathOf(searchDirectory), files->folder, none)) {
    console::printError("Ombrel: Cannot load %s. It is not %s that was proven.\n", GetName(),
                        searchDirectory.c_str());
    return INTEGRITY_CHECK_FAILED;
  }
  const std::string changed = files->firstChanged();
  if (!changed.empty()) {
    console::printError("Ombrel: Cannot load %s. It was changed after it was proven.\n",
                        changed.c_str());
    return INTEGRITY_CHECK_FAILED;
  }
  return DynamicPlugin::Load(std::move(searchDirectory));
}

int ProvenPlugin::CheckHashes(std::string searchDirectory) const {
  const Repository<Dependency>& libraries = GetDependencies();
  for (std::int32_t i = 0; i < libraries.GetCount(); ++i) {
    const int code = CheckDependency(libraries.GetAt(i), searchDirectory);
    if (code != PLUGIN_OK) return code;
  }
  const std::string unlisted = files->firstUnlistedModule();
  if (unlisted.empty()) return PLUGIN_OK;
  console::printError("Ombrel: Cannot load %s. %s is mapped from its folder, and not listed.\n",
                      GetName(), unlisted.c_str());
  return INTEGRITY_CHECK_FAILED;
}

// What was proven and is mapped need not be read once more. Any other file has to pass the test
// that every dependency has to pass: one of several in a process may have come from elsewhere.
int ProvenPlugin::CheckDependency(const Dependency& dependency,
                                  const std::string& searchDirectory) const {
  Library library(dependency.GetName());
  if (!Utility::LoadLibraryA(searchDirectory.c_str(), library)) return DEPENDENCY_LOAD_FAILED;
  const auto shared = library_table::instance().find_or_create(dependency.GetName());
  if (files->isMapped(dependency.GetName(), shared->handle)) return PLUGIN_OK;
  Repository<Dependency> one;
  one.Add(dependency);
  return HashChecker().Check(one, searchDirectory);
}

}  // namespace OMB
