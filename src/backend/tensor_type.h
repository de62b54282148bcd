// The contract's name of an element type of the engine.
#pragma once

#include "ombrel/model/nn_tensor.h"

#include "engine/inference_engine.h"

namespace OMB {

ETensorType tensorType(InferenceEngine::Precision precision);

}  // namespace OMB
