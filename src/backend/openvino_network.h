// OpenVINONetwork: the result of a load.
#pragma once

#include "engine/inference_engine.h"

namespace OMB {

/// The engine's plug-in list, joined to the data path as it is.
inline constexpr char kPluginList[] = "plugins.xml";

struct OpenVINONetwork {
  InferenceEngine::CNNNetwork network;  ///< empty until the load has read one
  bool loaded = false;                  ///< whether `network` is the network of the pair
};

}  // namespace OMB
