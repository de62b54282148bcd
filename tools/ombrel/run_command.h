// ombrel run: what a network says about images.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <vector>

#include "exit_codes.h"
#include "image_file.h"
#include "model_session.h"
#include "runner_input.h"

namespace OMB::tool {

struct RunOptions {
  ModelOptions model;
  std::vector<std::filesystem::path> images;
  ImageSize size;
  InputForm form = InputForm::U8Hwc;
  std::filesystem::path labels;     ///< empty: none
  std::filesystem::path rawOutput;  ///< empty: none
  std::optional<std::size_t> top;   ///< how many classes are printed
};

/// The key is gone from the options when the model is loaded.
ExitCode runCommand(RunOptions& options);

}  // namespace OMB::tool
