#include "check_command.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "ombrel/platform/library.h"
#include "ombrel/platform/load_library.h"
#include "ombrel/plugin/hash_checker.h"
#include "ombrel/plugin/plugin_manager.h"
#include "ombrel/plugin/return_codes.h"

#include "json_text.h"
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

/// A test of one dependency alone. A test of all of them together would end at the first failure.
Finding testDependency(const Dependency& dependency, const std::string& folder) {
  const Library library(dependency.GetName());  // shares what the test finds out
  Repository<Dependency> one;
  one.Add(dependency);
  const int code = HashChecker().Check(one, folder);
  return {dependency.GetName(), verdictOf(code),
          library.is_loaded() ? library.get_file_name() : std::string("see above"),
          code == PLUGIN_OK};
}

std::vector<Finding> testDependencies(const Manifest& manifest, const std::string& folder) {
  const Repository<Dependency> dependencies = makeDependencies(manifest);
  std::vector<Finding> findings;
  for (std::int32_t i = 0; i < dependencies.GetCount(); ++i) {
    findings.push_back(testDependency(dependencies.GetAt(i), folder));
  }
  return findings;
}

void printFindings(const std::vector<Finding>& findings) {
  std::size_t width = 0;
  for (const Finding& finding : findings) width = std::max(width, finding.name.size());
  for (const Finding& finding : findings) {
    std::printf("%-*s  %-10s  %s\n", static_cast<int>(width), finding.name.c_str(), finding.verdict,
                finding.file.c_str());
  }
}

void printJson(const std::vector<Finding>& findings, const Manifest& manifest, std::size_t files,
               bool passed) {
  auto list = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"name", finding.name}, {"verdict", finding.verdict}, {"file", finding.file}});
  }
  const nlohmann::ordered_json object = {{"plugin", manifest.name},
                                         {"passed", passed},
                                         {"proven_files", files},
                                         {"dependencies", list}};
  std::fputs(jsonText(object).c_str(), stdout);
}

/// The load as hosts do it, which also calls the plug-in's initialize entry.
int load(DynamicPlugin& plugin, const std::string& folder) {
  PluginManager manager;
  manager.SetPluginsDirectory(folder.c_str());
  const int code = manager.Load(plugin);
  if (code != PLUGIN_LOAD_FAILED) return code;
  throw ToolError(ExitCode::Plugin,
                  std::string("cannot load plug-in ") + plugin.GetName() + " from " + folder);
}

void requireLoaded(int code, const DynamicPlugin& plugin, const Manifest& manifest) {
  if (code != PLUGIN_OK) {
    throw ToolError(ExitCode::Plugin, manifest.name + " does not load: code " +
                                          std::to_string(code) + ", " + describePluginCode(code));
  }
  if (plugin.GetCreateMethod() == nullptr) {
    throw ToolError(ExitCode::Plugin, manifest.name + " has no entry " + manifest.create);
  }
}

/// What a loader could come to in a folder that is open.
void requireListed(const PackageVerifier& package) {
  std::size_t unlisted = 0;
  for (const PackageFinding& finding : package.GetWarnings()) {
    if (finding.fault != EPackageFault::EXTRA_LIBRARY) continue;
    ++unlisted;
    std::fprintf(stderr, "ombrel: %s %s\n", finding.name.c_str(), finding.Describe());
  }
  if (unlisted == 0) return;
  throw ToolError(ExitCode::Check, std::to_string(unlisted) +
                                       " libraries of the folder have no proof; list them, and "
                                       "close the folder with digest --closed");
}

}  // namespace

ExitCode checkCommand(const CheckOptions& options) {
  const Manifest manifest = loadManifest(options.package);
  const auto package = provePackage(options.package, manifest);
  requireListed(*package);

  const std::string folder = pluginFolder(options.package.manifest.string(), manifest);
  const auto plugin = package->MakePlugin();
  const int code = load(*plugin, folder);
  const std::vector<Finding> findings = testDependencies(manifest, folder);
  const auto failures = std::ranges::count(findings, false, &Finding::passed);
  if (options.json) {
    printJson(findings, manifest, package->GetFindings().size(),
              failures == 0 && code == PLUGIN_OK && plugin->GetCreateMethod() != nullptr);
  } else {
    printFindings(findings);
  }
  if (failures > 0) {
    throw ToolError(ExitCode::Check, std::to_string(failures) + " of " +
                                         std::to_string(findings.size()) +
                                         " dependencies did not pass");
  }
  requireLoaded(code, *plugin, manifest);
  if (options.json) return ExitCode::Success;
  std::printf("%s passed with all of its %zu dependencies, and %zu files before that\n",
              manifest.name.c_str(), findings.size(), package->GetFindings().size());
  return ExitCode::Success;
}

}  // namespace OMB::tool
