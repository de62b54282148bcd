// The road from the command line to a runner, which the commands share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ombrel/model/nn_model.h"
#include "ombrel/model/nn_runner.h"
#include "ombrel/platform/byte_vector.h"
#include "ombrel/plugin/dynamic_plugin.h"
#include "ombrel/plugin/plugin_manager.h"

#include "plugin_setup.h"

namespace OMB::tool {

/// Which model is to be loaded, and how.
struct ModelOptions {
  std::string modelBase;
  PackageOptions package;
  std::filesystem::path configFile;     ///< empty: none
  std::optional<std::string> dataPath;  ///< overrides the file's, as does:
  std::optional<std::int32_t> threads;
  ByteVector key;  ///< empty: the pair is in the clear
  /// Called when the plug-in is loaded and the model is not, with what is read from then on; null
  /// for nothing to do.
  std::function<void(const std::vector<std::filesystem::path>& readable)> beforeModel;
};

/// A model that was loaded through the plug-in system. The runners may outlive it.
class ModelSession {
 public:
  /// Proves the package, reads the configuration, loads the plug-in and the model. Throws ToolError
  /// with the code of the step that failed. The key moves out of the options and is wiped as soon
  /// as the model has been made.
  explicit ModelSession(ModelOptions& options);

  /// A runner that is ready. Throws ToolError. One call at a time.
  std::unique_ptr<INNRunner> createRunner() const;

  /// The model itself, which ends with the session.
  INNModel& get() const { return *model; }

  /// Number of elements that a run puts out.
  std::size_t outputSize() const;

 private:
  ModelSession(ModelOptions& options, const Manifest& manifest);
  ModelSession(ModelOptions& options, const Manifest& manifest, const PackageVerifier& package);
  CreateFunction loadPlugin(const std::filesystem::path& folder);
  void loadModel(CreateFunction create, ModelOptions& options, const Config& config);

  std::unique_ptr<DynamicPlugin> plugin;
  PluginManager manager;
  std::unique_ptr<INNModel> model;
};

}  // namespace OMB::tool
