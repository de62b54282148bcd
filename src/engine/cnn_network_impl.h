// What a CNNNetwork holds.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/engine_call.h"
#include "engine/inference_engine.h"
#include "engine/layout.h"
#include "engine/network_text.h"

namespace InferenceEngine {

using Model = std::shared_ptr<ov_model_t>;

struct CNNNetwork::Impl {
  Impl(std::shared_ptr<const void> bytes, Model read, const NetworkText& text);

  std::shared_ptr<const void> weights;  ///< the model refers to them, so they end last
  Model model;
  /// In the model's order of inputs and outputs, which is not the order of the names.
  std::vector<std::string> inputNames;
  std::vector<DeclaredLayout> layouts;
  std::vector<std::string> outputNames;
  InputsDataMap inputs;
  OutputsDataMap outputs;

  std::mutex preparing;       ///< held while what was set is applied to the model
  bool halfPrepared = false;  ///< whether that failed on the way

  Port input(std::size_t index) const;
  Port output(std::size_t index) const;
  void readShapes();
};

}  // namespace InferenceEngine
