// OpenVINONetwork: the result of a load.
#pragma once

#include "engine/inference_engine.h"

namespace OMB {

struct OpenVINONetwork {
  InferenceEngine::CNNNetwork network;  ///< empty until the load has read one
  bool loaded = false;                  ///< whether `network` is the network of the pair
};

}  // namespace OMB
