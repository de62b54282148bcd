#include "input_size.h"

#include <cstddef>
#include <string>
#include <vector>

#include "tool_error.h"

namespace OMB::tool {
namespace {

std::string textOf(ImageSize size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

void requireThreeChannels(std::size_t channels) {
  if (channels == 0 || channels == static_cast<std::size_t>(imageChannels)) return;
  throw ToolError(ExitCode::Run, "the network takes images of " + std::to_string(channels) +
                                     " channels, and what is read from a file has " +
                                     std::to_string(imageChannels));
}

/// Nothing where a dimension is not settled.
std::optional<ImageSize> sizeOf(INNModel& model) {
  auto* const description = dynamic_cast<INNDescription*>(&model);
  if (description == nullptr) return std::nullopt;
  const std::vector<NNTensorInfo> inputs = description->GetInputs();
  if (inputs.empty() || !isPlanarImage(inputs.front())) return std::nullopt;
  const std::vector<std::size_t>& shape = inputs.front().shape;
  requireThreeChannels(shape[1]);
  ImageSize size;
  const bool isSize = parseSize(std::to_string(shape[3]) + "x" + std::to_string(shape[2]), size);
  return isSize ? std::optional(size) : std::nullopt;
}

}  // namespace

bool isPlanarImage(const NNTensorInfo& firstInput) {
  return firstInput.shape.size() == 4;
}

ImageSize chooseSize(INNModel& model, const std::optional<ImageSize>& asked) {
  const std::optional<ImageSize> told = sizeOf(model);
  if (!told && !asked) {
    throw ToolError(ExitCode::Usage,
                    "--size is required: the model does not tell which size of image it takes");
  }
  if (told && asked && *told != *asked) {
    throw ToolError(ExitCode::Run, "the network takes images of " + textOf(*told) +
                                       ", and not of " + textOf(*asked) + "; see --size");
  }
  return told ? *told : *asked;
}

}  // namespace OMB::tool
