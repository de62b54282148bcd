// ombrel run: what a network says about images.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <vector>

#include "answers.h"
#include "exit_codes.h"

namespace OMB::tool {

struct RunOptions {
  Question question;
  std::vector<std::filesystem::path> images;  ///< "-" is standard input
  std::filesystem::path labels;               ///< empty: none
  std::filesystem::path rawOutput;  ///< empty: none; "-": in the place of all that is printed
  std::filesystem::path pictures;   ///< folder for the answers as pictures; empty: none
  std::optional<std::size_t> top;   ///< how many classes are printed
  bool json = false;                ///< instead of lines
  bool fenced = false;              ///< see makeFencedAnswers
  double fenceLimit = 60;           ///< in seconds
};

/// The key is gone from the options when the model is loaded.
ExitCode runCommand(RunOptions& options);

}  // namespace OMB::tool
