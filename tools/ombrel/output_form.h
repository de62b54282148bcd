// How the values that a network puts out lie over the image.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ombrel/model/nn_model.h"

#include "image_file.h"

namespace OMB::tool {

/// Planes of rows of values, the batch left out; a list of classes is a single row. It is sent
/// through pipes as it lies in memory.
struct OutputForm {
  std::uint32_t planes, rows, columns;
  ImageSize image;  ///< what the network took: the planes cover all of it

  /// Exact whatever the numbers are.
  std::uint64_t size() const;

  bool operator==(const OutputForm&) const = default;
};

/// The form of the model's first output; a single row where it does not tell, or tells of another
/// number of values than `size`.
OutputForm formOf(INNModel& model, std::size_t size, ImageSize image);

/// What the values are taken for when they are drawn.
enum class OutputKind {
  Classes,
  Map,    ///< one value for each place of the image
  Areas,  ///< planes of such values, one for each class
  Boxes,  ///< rows of image, class, confidence, and two corners in shares of the image's size
};

OutputKind kindOf(const OutputForm& form);

}  // namespace OMB::tool
