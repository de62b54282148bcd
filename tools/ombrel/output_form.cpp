#include "output_form.h"

#include <vector>

#include "ombrel/model/nn_description.h"

namespace OMB::tool {
namespace {

constexpr std::uint32_t kBoxColumns = 7;

/// The last three dimensions, with ones in front where there are fewer.
OutputForm lastThree(const std::vector<std::size_t>& shape, ImageSize image) {
  const auto fromEnd = [&](std::size_t i) {
    return i <= shape.size() ? static_cast<std::uint32_t>(shape[shape.size() - i]) : 1U;
  };
  return {fromEnd(3), fromEnd(2), fromEnd(1), image};
}

}  // namespace

std::uint64_t OutputForm::size() const {
  const std::uint64_t plane = std::uint64_t{rows} * columns;
  return plane != 0 && planes > UINT64_MAX / plane ? UINT64_MAX : plane * planes;
}

OutputForm formOf(INNModel& model, std::size_t size, ImageSize image) {
  if (auto* const description = dynamic_cast<INNDescription*>(&model)) {
    const std::vector<NNTensorInfo> outputs = description->GetOutputs();
    if (!outputs.empty()) {
      const OutputForm form = lastThree(outputs.front().shape, image);
      if (form.size() == size) return form;
    }
  }
  return {1, 1, static_cast<std::uint32_t>(size), image};
}

OutputKind kindOf(const OutputForm& form) {
  if (form.planes == 1 && form.columns == kBoxColumns) return OutputKind::Boxes;
  if (form.rows < 2 || form.columns < 2) return OutputKind::Classes;
  return form.planes == 1 ? OutputKind::Map : OutputKind::Areas;
}

}  // namespace OMB::tool
