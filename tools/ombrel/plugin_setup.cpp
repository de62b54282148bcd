#include "plugin_setup.h"

#include <cstdio>
#include <string>
#include <vector>

#include "ombrel/plugin/return_codes.h"

#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {

std::filesystem::path defaultManifest() {
  const std::filesystem::path program = programFile();
  return (program.parent_path() / "../lib/ombrel/openvino.json").lexically_normal();
}

Manifest loadManifest(const std::filesystem::path& file) {
  if (!std::filesystem::exists(file))
    throw ToolError(ExitCode::File, "cannot open " + file.string());
  try {
    return readManifest(file.string());
  } catch (const ManifestError& error) {
    throw ToolError(ExitCode::Manifest, file.string() + ": " + error.what());
  }
}

std::unique_ptr<PackageVerifier> verifyPackage(const std::filesystem::path& file,
                                               const Manifest& manifest) {
  const std::string folder = pluginFolder(file.string(), manifest);
  std::vector<std::string> besides;
  if (std::filesystem::absolute(file).lexically_normal().parent_path() == pathOf(folder)) {
    besides.push_back(file.filename().string());
  }
  return std::make_unique<PackageVerifier>(folder, manifest, besides);
}

void requireProven(const PackageVerifier& package) {
  if (package.IsProven()) return;
  std::size_t faults = 0;
  for (const PackageFinding& finding : package.GetFindings()) {
    if (finding.fault == EPackageFault::NONE) continue;
    ++faults;
    std::fprintf(stderr, "ombrel: %s %s\n", finding.name.c_str(), finding.Describe());
  }
  throw ToolError(ExitCode::Package, std::to_string(faults) + " of " +
                                         std::to_string(package.GetFindings().size()) +
                                         " files are not as the manifest has them; nothing was "
                                         "loaded");
}

std::string describePluginCode(int code) {
  switch (code) {
    case PLUGIN_OK:
      return "it is loaded";
    case PLUGIN_LOAD_FAILED:
      return "its library cannot be loaded";
    case DEPENDENCY_LOAD_FAILED:
      return "a library that it depends on cannot be loaded";
    case DEPENDENCY_READ_FAILED:
      return "a library that it depends on cannot be read";
    case INITIALIZE_MISSING:
      return "its library does not have the initialize entry";
    case INTEGRITY_CHECK_FAILED:
      return "a library that it depends on is not one that the manifest accepts";
    default:
      return "the plug-in gives no reason";
  }
}

}  // namespace OMB::tool
