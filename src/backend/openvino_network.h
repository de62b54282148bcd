// OpenVINONetwork: the result of a load.
#pragma once

#include <atomic>

#include "ombrel/platform/byte_vector.h"

#include "engine/inference_engine.h"

namespace OMB {

/// The engine's plug-in list, joined to the data path as it is.
inline constexpr char kPluginList[] = "plugins.xml";

struct OpenVINONetwork {
  InferenceEngine::CNNNetwork network;  ///< empty until the load has read one
  bool loaded = false;                  ///< whether `network` is the network of the pair

  InferenceEngine::Blob::Ptr weights;      ///< of the pair, which `network` refers to
  ByteVector textDigest;                   ///< of the pair; empty if it could not be made
  InferenceEngine::Blob::Ptr compilation;  ///< what runners are made of instead of compiling; null
  mutable std::atomic<int> refused = 0;    ///< compilations that could not be used
};

}  // namespace OMB
