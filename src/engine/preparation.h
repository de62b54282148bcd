// Applies to a network what was set in it.
#pragma once

#include "engine/cnn_network_impl.h"

namespace InferenceEngine {

/// The network's model with the precisions and layouts that were set. A second time finds nothing
/// to change. Threads: calls wait for each other.
Model prepared(CNNNetwork::Impl& network);

}  // namespace InferenceEngine
