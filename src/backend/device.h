// Device: the engine's CPU with a host's configuration.
#pragma once

#include <map>
#include <string>

#include "ombrel/model/config.h"

#include "engine/inference_engine.h"

namespace OMB {

/// What it makes outlives it. Every failure is raised as the engine raises it.
class Device {
 public:
  explicit Device(Config config);

  InferenceEngine::ExecutableNetwork Compile(const InferenceEngine::CNNNetwork& network);

  /// As InferenceEngine::Core has them.
  InferenceEngine::ExecutableNetwork Import(const InferenceEngine::CNNNetwork& network,
                                            const InferenceEngine::Blob::Ptr& compilation);
  std::string Describe() const;

 private:
  InferenceEngine::Core core;
  std::map<std::string, std::string> settings;
};

}  // namespace OMB
