// The latencies of a benchmark as a picture.
#pragma once

#include <string>

#include "latencies.h"

namespace OMB::tool {

/// An SVG of the histogram, with lines at the percentiles that are told in text as well. `title`
/// and `subtitle` stand above it.
std::string plotLatencies(const Latencies& latencies, const std::string& title,
                          const std::string& subtitle);

}  // namespace OMB::tool
