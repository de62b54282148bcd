// What a Core holds, and what making executable networks has in common.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "engine/engine_call.h"
#include "engine/inference_engine.h"

namespace InferenceEngine {

using CoreHandle = Handle<ov_core_t, ov_core_free>;
using CompiledModel = Handle<ov_compiled_model_t, ov_compiled_model_free>;
using Settings = std::map<std::string, std::string>;

struct Core::Impl {
  CoreHandle core;
  std::map<std::string, std::string> devices = {};  ///< the engine's name of each registered one

  /// Of a device that has not been registered, the same.
  const std::string& engineName(const std::string& device) const;

  /// Over what was compiled of the network, which may refer to `memory`. Whether data settle a
  /// dimension of the network is for the caller to know.
  static ExecutableNetwork executable(const CNNNetwork& network, std::shared_ptr<const void> memory,
                                      bool dynamic, CompiledModel compiled);
};

/// The configuration under the engine's names, with what was built in.
Settings engineSettings(const Settings& config);

/// Views of the settings.
std::vector<ov_property_t> propertiesOf(const Settings& settings);

}  // namespace InferenceEngine
