// An image record as one value.
#pragma once

#include <tuple>

#include "ombrel/image/nn_data.h"

namespace OMB::test {

/// The seven fields, for comparison.
inline auto fields(const NNData& d) {
  return std::tuple(d.layout, d.type, d.channels, d.width, d.height, d.isView, d.getData());
}

}  // namespace OMB::test
