// The bytes of a model pair as it is stored, and the proof of a sealed one before it is deciphered.
#pragma once

#include <string>

#include "ombrel/platform/byte_vector.h"

namespace OMB {

inline constexpr char kTextSuffix[] = ".xml";
inline constexpr char kWeightsSuffix[] = ".bin";

struct StoredPair {
  ByteVector text;
  ByteVector weights;
};

StoredPair readPair(const std::string& base);

/// Raises GeneralError, with the finding, unless the tags beside the base path prove every byte
/// that was read. Without a file of tags nothing is proven, but if they are `required` that raises,
/// too.
StoredPair readSealedPair(const std::string& base, const ByteVector& key, bool required);

}  // namespace OMB
