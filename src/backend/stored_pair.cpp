#include "backend/stored_pair.h"

#include <utility>

#include "ombrel/model/authentication.h"
#include "ombrel/model/model_buffers.h"

#include "engine/inference_engine.h"

namespace OMB {

StoredPair readPair(const std::string& base) {
  const auto room = [&](const char* suffix) {
    return ByteVector(static_cast<std::size_t>(modelFileSize(base, suffix)));
  };
  StoredPair pair{room(kTextSuffix), room(kWeightsSuffix)};
  readModelFile(base, kTextSuffix, pair.text.data(), pair.text.size());
  readModelFile(base, kWeightsSuffix, pair.weights.data(), pair.weights.size());
  return pair;
}

StoredPair readSealedPair(const std::string& base, const ByteVector& key, bool required) {
  if (modelFileSize(base, kTagsSuffix) < 0 && !required) return readPair(base);
  ProvenModel model = readProvenModel(base.c_str(), key.data(), static_cast<int>(key.size()));
  if (!model.found.IsAuthentic()) throw InferenceEngine::GeneralError(model.found.Describe(base));
  return {std::move(model.text), std::move(model.weights)};
}

}  // namespace OMB
