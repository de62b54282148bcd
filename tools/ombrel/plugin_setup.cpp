#include "plugin_setup.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "ombrel/plugin/return_codes.h"

#include "files.h"
#include "key.h"
#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

/// What belongs to a manifest that lies in its package's folder.
std::vector<std::string> filesBeside(const std::filesystem::path& manifest,
                                     const std::string& folder) {
  const auto place = std::filesystem::absolute(manifest).lexically_normal().parent_path();
  if (place != pathOf(folder)) return {};
  const std::string name = manifest.filename().string();
  return {name, name + ".sig"};
}

void printFindings(const std::vector<PackageFinding>& findings, const char* kind) {
  for (const PackageFinding& finding : findings) {
    if (finding.fault == EPackageFault::NONE) continue;
    std::fprintf(stderr, "ombrel: %s%s %s\n", kind, finding.name.c_str(), finding.Describe());
  }
}

void requireProven(const PackageVerifier& package) {
  if (package.IsProven()) return;
  const std::vector<PackageFinding>& findings = package.GetFindings();
  const auto proven = std::ranges::count(findings, EPackageFault::NONE, &PackageFinding::fault);
  const auto faults = static_cast<std::ptrdiff_t>(findings.size()) - proven;
  printFindings(findings, "");
  throw ToolError(ExitCode::Package, std::to_string(faults) + " of " +
                                         std::to_string(findings.size()) +
                                         " files are not as the manifest has them; nothing was "
                                         "loaded");
}

void requireNoDoubt(const PackageVerifier& package, bool strict) {
  std::vector<PackageFinding> warnings = package.GetWarnings();
  if (!strict) {
    std::erase_if(warnings, [](const PackageFinding& finding) {
      return finding.fault == EPackageFault::EXTRA_LIBRARY;
    });
  }
  printFindings(warnings, strict ? "" : "warning: ");
  if (!strict || warnings.empty()) return;
  throw ToolError(ExitCode::Package,
                  "--strict takes a package without a doubt only; nothing was "
                  "loaded");
}

}  // namespace

std::filesystem::path defaultManifest() {
  const std::filesystem::path program = programFile();
  return (program.parent_path() / OMBREL_PLUGINS "/openvino.json").lexically_normal();
}

Manifest loadManifest(const PackageOptions& options) {
  const std::string file = options.manifest.string();
  if (!std::filesystem::exists(options.manifest)) {
    throw ToolError(ExitCode::File, "cannot open " + file + reasonNotRead(options.manifest));
  }
  try {
    if (options.trust.empty()) return readManifest(file);
    return readManifest(file, {readPublicKey(options.trust), options.leastCounter});
  } catch (const UntrustedManifest& error) {
    throw ToolError(ExitCode::Trust, file + " " + error.what());
  } catch (const ManifestError& error) {
    throw ToolError(ExitCode::Manifest, file + ": " + error.what());
  }
}

std::unique_ptr<PackageVerifier> provePackage(const PackageOptions& options,
                                              const Manifest& manifest) {
  const std::string folder = pluginFolder(options.manifest.string(), manifest);
  auto package =
      std::make_unique<PackageVerifier>(folder, manifest, filesBeside(options.manifest, folder));
  requireProven(*package);
  requireNoDoubt(*package, options.strict);
  return package;
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
