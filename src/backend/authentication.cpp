#include "backend/authentication.h"

#include <cstdint>

#include "ombrel/model/authentication.h"
#include "ombrel/model/model_buffers.h"

#include "engine/inference_engine.h"

namespace OMB {

void requireAuthentic(const std::string& base, const ByteVector& text, const ByteVector& weights,
                      const ByteVector& key, bool required) {
  const std::int64_t size = modelFileSize(base, kTagsSuffix);
  Authenticity found{EAuthenticity::MISSING};
  if (size >= 0) {
    ByteVector tags(static_cast<std::size_t>(size));
    readModelFile(base, kTagsSuffix, tags.data(), tags.size());
    found = verifyModel({text, weights, tags}, key.data(), static_cast<int>(key.size()));
  } else if (!required) {
    return;
  }
  if (!found.IsAuthentic()) throw InferenceEngine::GeneralError(found.Describe(base));
}

}  // namespace OMB
