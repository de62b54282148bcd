#include "plugin_setup.h"

#include <utility>
#include <vector>

#include "ombrel/plugin/return_codes.h"

#include "files.h"
#include "tool_error.h"

namespace OMB::tool {

std::filesystem::path defaultManifest() {
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
  return (program.parent_path() / "../lib/ombrel/openvino.json").lexically_normal();
}

Manifest loadManifest(const std::filesystem::path& file) {
  try {
    return parseManifest(readTextFile(file));
  } catch (const ManifestError& error) {
    throw ToolError(ExitCode::Manifest, file.string() + ": " + error.what());
  }
}

std::filesystem::path pluginFolder(const std::filesystem::path& file, const Manifest& manifest) {
  const std::filesystem::path folder =
      (std::filesystem::absolute(file).parent_path() / manifest.folder).lexically_normal();
  return folder.has_filename() ? folder : folder.parent_path();
}

Dependency makeDependency(const ManifestDependency& dependency) {
  std::vector<HashRange> hashes;
  for (const ManifestDigest& digest : dependency.hashes) {
    hashes.emplace_back(ByteVector(digest.sha256.begin(), digest.sha256.end()), digest.offset,
                        digest.length);
  }
  return {dependency.name.c_str(), std::move(hashes)};
}

DynamicPlugin makePlugin(const Manifest& manifest) {
  Repository<Dependency> dependencies;
  for (const ManifestDependency& dependency : manifest.dependencies) {
    dependencies.Add(makeDependency(dependency));
  }
  return {manifest.name.c_str(), manifest.initialize.c_str(), manifest.create.c_str(),
          manifest.modelSuffix.c_str(), dependencies};
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
