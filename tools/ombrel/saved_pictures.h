// The pictures of a run's answers, in a folder.
#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

#include "answers.h"
#include "ranking.h"

namespace OMB::tool {

/// Writes one PNG an image, named as the image is.
class SavedPictures {
 public:
  /// Makes the folder if there is none. `count` is how many classes a picture names. Throws
  /// ToolError: where two images would have one picture, where a picture would take the place of an
  /// image, for standard input, which has no name, and where the folder cannot be made.
  SavedPictures(const std::filesystem::path& folder,
                const std::vector<std::filesystem::path>& images, std::size_t count);

  /// Draws and writes that of the image of this index, which is read once more. Returns its place.
  /// Throws ToolError.
  std::filesystem::path save(std::size_t image, const OutputForm& form, const Answer& answer,
                             const Labels& labels) const;

 private:
  const std::vector<std::filesystem::path>& images;
  std::vector<std::filesystem::path> places;
  std::size_t classes;
};

}  // namespace OMB::tool
