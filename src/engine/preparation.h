// Applies to a network what was set in it.
#pragma once

#include <string>

#include "engine/cnn_network_impl.h"

namespace InferenceEngine {

/// The network's model with the precisions and layouts that were set. A second time finds nothing
/// to change. Threads: calls wait for each other.
Model prepared(CNNNetwork::Impl& network);

/// Dimensions of an input in the order in which a request's memory has them, once what was set is
/// applied. Threads: calls wait for each other and for prepared.
SizeVector dimsInMemory(CNNNetwork::Impl& network, const std::string& input);

}  // namespace InferenceEngine
