// An answer as a picture, for whoever looks rather than reads.
#pragma once

#include <cstddef>
#include <span>

#include "image_file.h"
#include "output_form.h"
#include "ranking.h"

namespace OMB::tool {

/// Draws the values, which lie as `form` has it, over the part of the photo that the network was
/// given, or lists the best of them below it. `count` is how many classes are named at most.
Image drawAnswer(const Image& photo, const OutputForm& form, std::span<const float> values,
                 const Labels& labels, std::size_t count);

}  // namespace OMB::tool
