// INNDescription: what a model takes and gives.
#pragma once

#include <vector>

#include "ombrel/export.h"
#include "ombrel/model/nn_tensor.h"

namespace OMB {

/// What a model may offer besides INNModel. A host asks for it by dynamic_cast from the INNModel*,
/// and gets null from a backend that does not have it. It lives and ends with the model.
///
/// Threads: as INNModel, only read.
class OMBREL_API INNDescription {
 public:
  virtual ~INNDescription();

  /// All inputs and all outputs, ordered by name: the first of each are those that INNRunner::Run
  /// works with. Those two are FP32, the input in CHW order where it has four dimensions; the
  /// others have the type and the order that the network gives them. Both are empty for a model
  /// that is not loaded. Exceptions of the engine and of memory pass through.
  [[nodiscard]] virtual std::vector<NNTensorInfo> GetInputs() = 0;
  [[nodiscard]] virtual std::vector<NNTensorInfo> GetOutputs() = 0;
};

}  // namespace OMB
