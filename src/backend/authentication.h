// The test of a sealed pair before it is deciphered.
#pragma once

#include <string>

#include "ombrel/platform/byte_vector.h"

namespace OMB {

/// Raises GeneralError, with the finding, unless the tags beside the base path prove these bytes of
/// its pair. Without a file of tags nothing is tested, but if they are `required` that raises, too.
void requireAuthentic(const std::string& base, const ByteVector& text, const ByteVector& weights,
                      const ByteVector& key, bool required);

}  // namespace OMB
