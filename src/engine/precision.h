// The engine's element types, and ours.
#pragma once

#include "engine/engine_call.h"
#include "engine/inference_engine.h"

namespace InferenceEngine {

/// UNSPECIFIED for a type that has no name here.
Precision precisionOf(ov_element_type_e type);
/// DYNAMIC for UNSPECIFIED.
ov_element_type_e elementOf(Precision precision);

}  // namespace InferenceEngine
