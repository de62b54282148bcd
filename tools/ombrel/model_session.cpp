#include "model_session.h"

#include <exception>
#include <fstream>
#include <new>
#include <utility>

#include "ombrel/model/authentication.h"
#include "ombrel/model/config.h"
#include "ombrel/model/entry_points.h"
#include "ombrel/platform/file_utils.h"
#include "ombrel/plugin/return_codes.h"

#include "build_constants.h"
#include "files.h"
#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

/// The file's settings, then those of the command line; data files are with the plug-in unless
/// something else is said.
Config makeConfig(const ModelOptions& options, const std::filesystem::path& folder) {
  Config config;
  const std::string file = options.configFile.string();
  if (!file.empty() && !config.Read(file.c_str())) {
    throw ToolError(ExitCode::File,
                    "cannot open configuration file " + file + reasonNotRead(options.configFile));
  }
  if (options.threads) config.SetThreadCount(*options.threads);
  if (options.dataPath) config.SetDataPath(*options.dataPath);
  if (config.GetDataPath().empty()) config.SetDataPath((folder / "").string());
  return config;
}

/// What is read from when the plug-in is loaded on: the proven files, which the engine looks for
/// and opens when it needs them, the engine's list, and the model.
std::vector<std::filesystem::path> filesOf(const PackageVerifier& package,
                                           const std::filesystem::path& folder,
                                           const Config& config, const std::string& base) {
  std::vector<std::filesystem::path> files = {folder, pathOf(config.GetDataPath() + "plugins.xml")};
  for (const char* extension : {".xml", ".bin", ".auth"}) files.push_back(pathOf(base + extension));
  for (const PackageFinding& finding : package.GetFindings()) {
    files.push_back(folder / pathOf(finding.name));
  }
  return files;
}

/// Whether the text of a pair can be read as it is.
bool isInTheClear(const std::string& base) {
  std::string start(5, ' ');
  std::ifstream(pathOf(base + ".xml"), std::ios::binary).read(start.data(), 5);
  return start == "<?xml" || start.starts_with("<net");
}

/// Why the backend may have refused the pair. It tells no more than that it did.
std::string whyNotLoaded(const std::string& base, const std::string& suffix, bool hasKey) {
  for (const std::string& file : {base + ".xml", base + ".bin"}) {
    if (Utility::fileSize(file) >= 1) continue;
    const bool hasSuffix = !suffix.empty() && base.ends_with(suffix);
    return file + " is missing or empty" +
           (hasSuffix ? "; name the model without " + suffix : std::string());
  }
  if (hasKey && isInTheClear(base)) return "it is in the clear; leave the key out";
  // The backend has said on standard error what it found.
  const bool hasTags = Utility::fileSize(base + kTagsSuffix) >= 0;
  if (hasKey && (hasTags || authenticationRequired)) {
    return "it was refused, as the line above says";
  }
  return hasKey ? "the engine refuses it; the key may be the wrong one"
                : "the engine refuses it; if it is sealed, it needs its key";
}

}  // namespace

ModelSession::ModelSession(ModelOptions& options)
    : ModelSession(options, loadManifest(options.package)) {}

ModelSession::ModelSession(ModelOptions& options, const Manifest& manifest)
    : ModelSession(options, manifest, *provePackage(options.package, manifest)) {}

ModelSession::ModelSession(ModelOptions& options, const Manifest& manifest,
                           const PackageVerifier& package)
    : plugin(package.MakePlugin()) {
  const std::filesystem::path folder =
      pathOf(pluginFolder(options.package.manifest.string(), manifest));
  const Config config = makeConfig(options, folder);
  const CreateFunction create = loadPlugin(folder);
  if (options.beforeModel) options.beforeModel(filesOf(package, folder, config, options.modelBase));
  loadModel(create, options, config);
}

CreateFunction ModelSession::loadPlugin(const std::filesystem::path& folder) {
  const std::string what = std::string("plug-in ") + plugin->GetName() + " from " + folder.string();
  manager.SetPluginsDirectory(folder.string().c_str());
  const int code = manager.Load(*plugin);
  if (code != PLUGIN_OK) {
    throw ToolError(ExitCode::Plugin, "cannot load " + what + ": code " + std::to_string(code) +
                                          ", " + describePluginCode(code));
  }
  const CreateFunction create = plugin->GetCreateMethod();
  if (create == nullptr) throw ToolError(ExitCode::Plugin, what + " does not have a create entry");
  return create;
}

void ModelSession::loadModel(CreateFunction create, ModelOptions& options, const Config& config) {
  const std::string failure = "cannot load model " + options.modelBase + ": ";
  ByteVector key = std::exchange(options.key, {});
  try {
    model.reset(create({options.modelBase.c_str(), key.empty() ? nullptr : key.data(),
                        static_cast<int>(key.size()), config}));
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw ToolError(ExitCode::Model, failure + error.what());
  }
  if (!model->IsLoaded()) {
    const char* const suffix = plugin->GetModelSuffix();
    throw ToolError(ExitCode::Model,
                    failure + whyNotLoaded(options.modelBase, suffix, !key.empty()));
  }
  if (model->GetOutputSize() < 1) throw ToolError(ExitCode::Model, failure + "it has no output");
}

std::unique_ptr<INNRunner> ModelSession::createRunner() const {
  std::unique_ptr<INNRunner> runner(model->CreateRunner());
  if (!runner->IsReady()) {
    throw ToolError(ExitCode::Runner,
                    "the runner is not ready: the engine does not prepare this network with these "
                    "settings");
  }
  return runner;
}

std::size_t ModelSession::outputSize() const {
  return static_cast<std::size_t>(model->GetOutputSize());
}

}  // namespace OMB::tool
