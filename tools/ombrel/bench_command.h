// ombrel bench: how fast a network runs here.
#pragma once

#include <filesystem>
#include <optional>

#include "exit_codes.h"
#include "image_file.h"
#include "model_session.h"
#include "runner_input.h"

namespace OMB::tool {

struct BenchOptions {
  ModelOptions model;
  std::optional<ImageSize> size;  ///< nothing: the model's own
  InputForm form = InputForm::U8Hwc;
  int runners = 1;                 ///< each in a thread of its own
  double seconds = 5;              ///< how long is measured
  std::filesystem::path jsonFile;  ///< empty: none; "-": in the place of the text
  std::filesystem::path plotFile;  ///< empty: none
};

/// The key is gone from the options when the model is loaded.
ExitCode benchCommand(BenchOptions& options);

}  // namespace OMB::tool
