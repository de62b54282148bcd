// A model pair against its tags, on as many threads as that is worth.
#pragma once

#include <cstddef>
#include <functional>

#include "ombrel/model/authentication.h"

#include "model/tag_format.h"
#include "model/tagger.h"

namespace OMB {

/// Called for each segment in front of its comparison, on the thread that does it: to read that
/// part of the file into the bytes that are compared.
using SegmentReader = std::function<void(EModelFile file, std::size_t offset, std::size_t size)>;

/// Compares every segment with its tag, by `tagger` and, for a pair that is large, by others of the
/// same key and salt beside it. The header is that of the pair's tags, which are proven, and has
/// the lengths of both files. AUTHENTIC, CHANGED, OTHER_PAIR or UNTESTED.
Authenticity comparePair(const TagHeader& header, const ModelBytes& pair, Tagger& tagger,
                         std::span<const unsigned char> key, const SegmentReader& read);

}  // namespace OMB
