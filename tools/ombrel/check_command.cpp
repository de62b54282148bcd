#include "check_command.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "ombrel/platform/library.h"
#include "ombrel/platform/load_library.h"
#include "ombrel/plugin/hash_checker.h"
#include "ombrel/plugin/plugin_manager.h"
#include "ombrel/plugin/return_codes.h"

#include "plugin_setup.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

struct Finding {
  std::string name;
  const char* verdict;
  std::string file;  ///< what was mapped, or why nothing was
  bool passed;
};

const char* verdictOf(int code) {
  switch (code) {
    case PLUGIN_OK:
      return "ok";
    case DEPENDENCY_LOAD_FAILED:
      return "not loaded";
    case DEPENDENCY_READ_FAILED:
      return "unreadable";
    default:
      return "refused";
  }
}

/// The first of the steps of a plug-in's load: its own library, which nothing tests unless the
/// manifest lists it among the dependencies.
Finding loadOwnLibrary(const Manifest& manifest, const std::string& folder) {
  Library library(manifest.name);
  const bool loaded = Utility::LoadLibraryA(folder.c_str(), library);
  if (!loaded) {
    throw ToolError(ExitCode::Plugin, "cannot load plug-in " + manifest.name + " from " + folder);
  }
  return {manifest.name, "untested", library.get_file_name(), true};
}

/// A test of one dependency alone. A test of all of them together would end at the first failure.
Finding testDependency(const ManifestDependency& dependency, const std::string& folder) {
  const Library library(dependency.name);  // shares what the test finds out
  Repository<Dependency> one;
  one.Add(makeDependency(dependency));
  const int code = HashChecker().Check(one, folder);
  return {dependency.name, verdictOf(code),
          library.is_loaded() ? library.get_file_name() : std::string("see above"),
          code == PLUGIN_OK};
}

bool isListed(const Manifest& manifest) {
  return std::any_of(
      manifest.dependencies.begin(), manifest.dependencies.end(),
      [&](const ManifestDependency& dependency) { return dependency.name == manifest.name; });
}

void printFindings(const std::vector<Finding>& findings) {
  std::size_t width = 0;
  for (const Finding& finding : findings) width = std::max(width, finding.name.size());
  for (const Finding& finding : findings) {
    std::printf("%-*s  %-10s  %s\n", static_cast<int>(width), finding.name.c_str(), finding.verdict,
                finding.file.c_str());
  }
}

/// The load itself, which also calls the plug-in's initialize entry.
void requireLoad(const Manifest& manifest, const std::string& folder) {
  DynamicPlugin plugin = makePlugin(manifest);
  PluginManager manager;
  manager.SetPluginsDirectory(folder.c_str());
  const int code = manager.Load(plugin);
  if (code != PLUGIN_OK) {
    throw ToolError(ExitCode::Plugin, manifest.name + " does not load: code " +
                                          std::to_string(code) + ", " + describePluginCode(code));
  }
  if (plugin.GetCreateMethod() == nullptr) {
    throw ToolError(ExitCode::Plugin, manifest.name + " has no entry " + manifest.create);
  }
}

}  // namespace

ExitCode checkCommand(const std::filesystem::path& file) {
  const Manifest manifest = loadManifest(file);
  const std::string folder = pluginFolder(file, manifest).string();
  std::vector<Finding> findings = {loadOwnLibrary(manifest, folder)};
  if (isListed(manifest)) findings.clear();
  for (const ManifestDependency& dependency : manifest.dependencies) {
    findings.push_back(testDependency(dependency, folder));
  }
  printFindings(findings);
  const auto failures = std::count_if(findings.begin(), findings.end(),
                                      [](const Finding& finding) { return !finding.passed; });
  if (failures > 0) {
    throw ToolError(ExitCode::Check, std::to_string(failures) + " of " +
                                         std::to_string(manifest.dependencies.size()) +
                                         " dependencies did not pass");
  }
  requireLoad(manifest, folder);
  std::printf("%s passed with all of its %zu dependencies\n", manifest.name.c_str(),
              manifest.dependencies.size());
  return ExitCode::Success;
}

}  // namespace OMB::tool
