// What an ExecutableNetwork holds.
#pragma once

#include <map>
#include <memory>
#include <string>

#include <openvino/runtime/compiled_model.hpp>

#include "engine/inference_engine.h"

namespace InferenceEngine {

/// Inputs and outputs by the names that the network gives them.
using Ports = std::map<std::string, ov::Output<const ov::Node>>;

struct ExecutableNetwork::Impl {
  ov::CompiledModel compiled;
  std::shared_ptr<const Ports> ports;  ///< shared with the requests
};

}  // namespace InferenceEngine
