#include "runner_input.h"

#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "ombrel/image/data_types.h"
#include "ombrel/image/transform_image.h"

#include "tool_error.h"

namespace OMB::tool {
namespace {

using ImageUtils::ELayoutType;

NNData describe(void* data, ImageSize size, ELayoutType layout, EDataType type, bool isView) {
  return {data, imageChannels, size.width, size.height, layout, type, isView};
}

template <typename Element>
void convertInto(const Image& image, NNData& record) {
  // Can't be refused: an image that was read has pixels.
  (void)ImageUtils::TransformImage(image.samples.data(), static_cast<Element*>(record.data),
                                   image.size.width, image.size.height, imageChannels,
                                   ELayoutType::HWC, record.layout);
}

void* runGuarded(INNRunner& runner, NNData& input) {
  try {
    return runner.Run(&input);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw ToolError(ExitCode::Run, std::string("the network failed: ") + error.what());
  }
}

/// Whether the runner takes `count` blank samples: it refuses more than its input holds.
bool takes(INNRunner& runner, std::size_t count) {
  std::vector<unsigned char> blank(count);
  NNData row(blank.data(), 1, static_cast<std::int32_t>(count), 1, ELayoutType::HWC, EDataType::U8,
             true);
  return runGuarded(runner, row) != nullptr;
}

[[noreturn]] void failFit(ImageSize size, const char* relation) {
  throw ToolError(ExitCode::Run, "an image of " + std::to_string(size.width) + "x" +
                                     std::to_string(size.height) + " has " + relation +
                                     " samples than the network takes; see --size");
}

}  // namespace

bool parseInputForm(std::string_view text, InputForm& form) {
  constexpr std::pair<std::string_view, InputForm> forms[] = {
      {"u8-hwc", InputForm::U8Hwc},
      {"u8-chw", InputForm::U8Chw},
      {"f32-hwc", InputForm::F32Hwc},
      {"f32-chw", InputForm::F32Chw},
      {"input-buffer", InputForm::InputBuffer}};
  for (const auto& [name, value] : forms) {
    if (text != name) continue;
    form = value;
    return true;
  }
  return false;
}

NNData makeInput(const Image& image, InputForm form, INNRunner& runner) {
  const bool planar = form == InputForm::U8Chw || form == InputForm::F32Chw;
  const ELayoutType layout = planar ? ELayoutType::CHW : ELayoutType::HWC;
  switch (form) {
    case InputForm::U8Hwc:
      // A view is only read by the runner.
      return describe(const_cast<unsigned char*>(image.samples.data()), image.size, layout,
                      EDataType::U8, true);
    case InputForm::U8Chw: {
      NNData record = describe(nullptr, image.size, layout, EDataType::U8, false);
      convertInto<unsigned char>(image, record);
      return record;
    }
    case InputForm::F32Hwc:
    case InputForm::F32Chw: {
      NNData record = describe(nullptr, image.size, layout, EDataType::FP32, false);
      convertInto<float>(image, record);
      return record;
    }
    case InputForm::InputBuffer:
      break;
  }
  NNData record =
      describe(runner.GetInputBuffer(), image.size, ELayoutType::CHW, EDataType::FP32, true);
  convertInto<float>(image, record);
  return record;
}

void requireFit(INNRunner& runner, ImageSize size) {
  const std::size_t count = sampleCount(size);
  if (!takes(runner, count)) failFit(size, "more");
  if (takes(runner, count + 1)) failFit(size, "fewer");
}

std::span<const float> runOnce(INNRunner& runner, NNData& input, std::size_t count) {
  const void* const output = runGuarded(runner, input);
  if (output == nullptr) {
    throw ToolError(ExitCode::Run, "the network does not take the image; see --size");
  }
  return {static_cast<const float*>(output), count};
}

}  // namespace OMB::tool
