// The compilation of a network in a file, sealed for the network and all that it depends on.
#pragma once

#include <span>
#include <string>

#include "ombrel/model/config.h"
#include "ombrel/platform/byte_vector.h"

#include "backend/openvino_network.h"

namespace OMB {

/// What tells bytes from all others. Empty when the system's cryptography fails.
ByteVector digestOf(std::span<const unsigned char> bytes);

/// Whether it was written. The key is the effective one. Raises what the engine raises.
[[nodiscard]] bool storeCompilation(const std::string& file, const ByteVector& key,
                                    const OpenVINONetwork& network, const Config& config);

/// For Device::Import; null where the file is not what storeCompilation has written for all the
/// same.
[[nodiscard]] InferenceEngine::Blob::Ptr readCompilation(const std::string& file,
                                                         const ByteVector& key,
                                                         const OpenVINONetwork& network,
                                                         const Config& config);

}  // namespace OMB
