// What a CNNNetwork holds.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <openvino/core/model.hpp>

#include "engine/inference_engine.h"

namespace InferenceEngine {

struct CNNNetwork::Impl {
  std::shared_ptr<ov::Model> model;
  /// In the model's order of inputs and outputs.
  std::vector<std::string> inputNames;
  std::vector<std::string> outputNames;
  InputsDataMap inputs;
  OutputsDataMap outputs;

  void readShapes();
};

}  // namespace InferenceEngine
