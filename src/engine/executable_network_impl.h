// What an ExecutableNetwork holds.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "engine/engine_call.h"
#include "engine/inference_engine.h"

namespace InferenceEngine {

struct CompiledPort {
  Port port;
  bool fixed;  ///< whether its shape is known before an inference
};
/// By the names that the network gives them. An input that is put out as it is has its name twice.
struct Ports {
  using ByName = std::map<std::string, CompiledPort>;
  ByName inputs, outputs;
};

struct ExecutableNetwork::Impl {
  std::shared_ptr<const void> weights;  ///< the compiled model may refer to them: they end last
  Handle<ov_compiled_model_t, ov_compiled_model_free> compiled;
  std::shared_ptr<const Ports> ports;  ///< shared with the requests
  bool dynamic;                        ///< whether data settle a dimension anywhere in the network
};

}  // namespace InferenceEngine
