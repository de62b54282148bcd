#include "saved_pictures.h"

#include <algorithm>
#include <string>
#include <system_error>

#include "drawn_answer.h"
#include "picture.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

using Paths = std::vector<std::filesystem::path>;

void makeFolder(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (!error) return;
  throw ToolError(ExitCode::File,
                  "cannot make the folder " + folder.string() + ": " + error.message());
}

std::filesystem::path placeOf(const std::filesystem::path& image,
                              const std::filesystem::path& folder) {
  if (image == "-") throw ToolError(ExitCode::Usage, "--save has no name for standard input");
  std::filesystem::path name = image.stem();
  name += ".png";
  return folder / name;
}

void requireFree(const std::filesystem::path& place, const Paths& images) {
  std::error_code none;
  for (const std::filesystem::path& image : images) {
    if (!std::filesystem::equivalent(place, image, none)) continue;
    throw ToolError(ExitCode::File, "will not overwrite the input " + image.string());
  }
}

}  // namespace

SavedPictures::SavedPictures(const std::filesystem::path& folder, const Paths& files,
                             std::size_t count)
    : images(files), classes(count) {
  for (const std::filesystem::path& image : images) {
    const std::filesystem::path place = placeOf(image, folder);
    const auto other = std::ranges::find(places, place);
    if (other != places.end()) {
      throw ToolError(ExitCode::Usage,
                      images[static_cast<std::size_t>(other - places.begin())].string() + " and " +
                          image.string() + " would both be saved as " + place.string());
    }
    requireFree(place, images);
    places.push_back(place);
  }
  makeFolder(folder);
}

std::filesystem::path SavedPictures::save(std::size_t image, const OutputForm& form,
                                          const Answer& answer, const Labels& labels) const {
  PendingFile file(places[image]);
  writePng(drawAnswer(readImage(images[image]), form, answer.values, labels, classes), file);
  file.commit();
  return places[image];
}

}  // namespace OMB::tool
