#include "engine/inference_engine.h"

namespace InferenceEngine {

void MemoryBlob::allocate() {
  bytes.reserve(1);  // the engine wants an address even for nothing
  const auto held = std::make_shared<OMB::ByteVector>(std::move(bytes));
  address = held->data();
  size = held->size();
  owner = held;
}

}  // namespace InferenceEngine
