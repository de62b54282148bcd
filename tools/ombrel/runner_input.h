// An image in one of the forms in which a runner takes it.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "ombrel/image/nn_data.h"
#include "ombrel/model/nn_runner.h"

#include "image_file.h"

namespace OMB::tool {

/// Element type and memory order of what is handed over. All forms hold the same image, and give
/// the same results.
enum class InputForm { U8Hwc, U8Chw, F32Hwc, F32Chw, InputBuffer };

inline constexpr char inputFormNames[] = "u8-hwc|u8-chw|f32-hwc|f32-chw|input-buffer";

/// Reads one of inputFormNames. Returns false for anything else.
[[nodiscard]] bool parseInputForm(std::string_view text, InputForm& form);

/// The record of `image` in `form`. It refers to the samples of `image` or to the input memory of
/// `runner` where that saves a copy, so both outlive it. For InputBuffer the image must fit: see
/// requireFit.
NNData makeInput(const Image& image, InputForm form, INNRunner& runner);

/// Makes sure that the network's input holds exactly an image of `size`, of which the contract
/// itself says nothing, and throws ToolError if not. Runs the network once to find out, which warms
/// it up as well.
void requireFit(INNRunner& runner, ImageSize size);

/// Runs the network. The result has `count` elements, and belongs to the runner until its next run.
/// Throws ToolError.
std::span<const float> runOnce(INNRunner& runner, NNData& input, std::size_t count);

}  // namespace OMB::tool
