// Which size of image a network takes.
#pragma once

#include <optional>

#include "ombrel/model/nn_description.h"
#include "ombrel/model/nn_model.h"

#include "image_file.h"

namespace OMB::tool {

/// True for the input that images are handed to and whose memory has channels, rows and columns
/// behind the batch.
bool isPlanarImage(const NNTensorInfo& firstInput);

/// The size that the model tells, by INNDescription and an input of four dimensions; else the one
/// that was asked for. Throws ToolError: for a model that tells of another size than the one asked
/// for or of images without three channels, and where nobody tells the size.
ImageSize chooseSize(INNModel& model, const std::optional<ImageSize>& asked);

}  // namespace OMB::tool
