// The input or output that a backend of one input and one output works with.
#pragma once

#include "engine/inference_engine.h"

namespace OMB {

/// The entry with the smallest name of a map from the engine. Raises GeneralError when there is
/// none.
template <typename InfoMap>
typename InfoMap::value_type firstEntry(const InfoMap& infos) {
  if (infos.empty()) throw InferenceEngine::GeneralError("The model is not loaded");
  return *infos.begin();
}

}  // namespace OMB
