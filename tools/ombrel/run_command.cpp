#include "run_command.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "fenced_answers.h"
#include "files.h"
#include "json_text.h"
#include "ranking.h"
#include "saved_pictures.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

std::vector<Image> readImages(const std::vector<std::filesystem::path>& files, ImageSize size) {
  std::vector<Image> images;
  for (const std::filesystem::path& file : files) {
    images.push_back(fitImage(readImage(file), size));
  }
  return images;
}

std::vector<Image> readWhole(const std::vector<std::filesystem::path>& files) {
  std::vector<Image> images;
  for (const std::filesystem::path& file : files) images.push_back(readImage(file));
  return images;
}

/// With a size all images are read now, before anything slow is done, so that an unreadable one is
/// told at once. Without, they are read when the model has told it; or, where no file can be opened
/// then, kept as large as they are until then.
ImagesOfSize prepareImages(const RunOptions& options) {
  if (options.question.size) {
    return [images = readImages(options.images, *options.question.size)](ImageSize) mutable {
      return std::move(images);
    };
  }
  if (!options.fenced) {
    return [&options](ImageSize size) { return readImages(options.images, size); };
  }
  return [whole = readWhole(options.images)](ImageSize size) {
    std::vector<Image> images;
    for (const Image& image : whole) images.push_back(fitImage(image, size));
    return images;
  };
}

void compareCounts(const RunOptions& options, const Labels& labels, std::size_t outputs) {
  if (options.labels.empty() || labels.size() == outputs) return;
  std::fprintf(stderr, "ombrel: note: %s has %zu labels, the network puts out %zu values\n",
               options.labels.string().c_str(), labels.size(), outputs);
}

/// Width on a terminal, near enough: the number of characters of an UTF-8 text.
std::size_t displayWidth(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

void printBest(std::span<const float> values, const Labels& labels,
               const std::vector<std::size_t>& best) {
  std::size_t width = 0;
  for (const std::size_t index : best) {
    width = std::max(width, displayWidth(labelOf(labels, index)));
  }
  for (const std::size_t index : best) {
    const std::string label = labelOf(labels, index);
    const std::string padding(width - displayWidth(label), ' ');
    std::printf("  %s%s  %9s\n", label.c_str(), padding.c_str(), valueText(values[index]).c_str());
  }
}

// NaN and infinities, which JSON lacks, become null.
nlohmann::ordered_json bestAsJson(std::span<const float> values, const Labels& labels,
                                  const std::vector<std::size_t>& best) {
  auto list = nlohmann::ordered_json::array();
  for (const std::size_t index : best) {
    list.push_back({{"class", index}});
    if (index < labels.size()) list.back()["label"] = labels[index];
    list.back()["value"] = values[index];
  }
  return list;
}

constexpr std::size_t kShownClasses = 5;

/// What is said of each image, on standard output or, where that is taken by raw output, nowhere.
class Report {
 public:
  Report(const RunOptions& asked, const Labels& names) : options(asked), labels(names) {}

  void add(const std::filesystem::path& image, const Answer& answer) {
    if (options.rawOutput == "-") return;
    const std::vector<std::size_t> best = bestIndices(answer.values, shownClasses());
    if (options.json) {
      images.push_back({{"image", image.string()},
                        {"milliseconds", answer.milliseconds},
                        {"classes", bestAsJson(answer.values, labels, best)}});
    } else {
      std::printf("%s  %.2f ms\n", image.string().c_str(), answer.milliseconds);
      printBest(answer.values, labels, best);
    }
  }

  /// Of the image that was added last.
  void addPicture(const std::filesystem::path& place) {
    if (options.rawOutput == "-") return;
    if (options.json) {
      images.back()["picture"] = place.string();
    } else {
      std::printf("  drawn in %s\n", place.string().c_str());
    }
  }

  void finish() const {
    if (!options.json) return;
    const nlohmann::ordered_json object = {{"model", options.question.model.modelBase},
                                           {"images", images}};
    std::fputs(jsonText(object).c_str(), stdout);
  }

 private:
  // Raw output is for programs; whoever wants classes as well says so.
  std::size_t shownClasses() const {
    const bool shown = options.rawOutput.empty() || options.top || !labels.empty();
    return shown ? options.top.value_or(kShownClasses) : 0;
  }

  const RunOptions& options;
  const Labels& labels;
  nlohmann::ordered_json images = nlohmann::ordered_json::array();
};

/// Standard input has one reader, and standard output one kind of content.
void requireOneUseOfStreams(const RunOptions& options) {
  if (std::ranges::count(options.images, "-") > 1) {
    throw ToolError(ExitCode::Usage, "standard input holds one image only");
  }
  if (options.rawOutput == "-" && (options.json || options.top || !options.labels.empty())) {
    throw ToolError(ExitCode::Usage, "--raw - leaves no room for classes on standard output");
  }
}

std::unique_ptr<Answers> makeAnswers(RunOptions& options, const ImagesOfSize& images) {
  if (!options.fenced) return std::make_unique<OwnAnswers>(options.question, images);
  return makeFencedAnswers(options.question, images, options.fenceLimit);
}

}  // namespace

ExitCode runCommand(RunOptions& options) {
  requireOneUseOfStreams(options);
  std::optional<SavedPictures> pictures;
  if (!options.pictures.empty()) {
    pictures.emplace(options.pictures, options.images, options.top.value_or(kShownClasses));
  }
  const ImagesOfSize images = prepareImages(options);
  const Labels labels = readLabels(options.labels);
  std::unique_ptr<PendingFile> raw;
  if (!options.rawOutput.empty()) {
    raw = std::make_unique<PendingFile>(options.rawOutput, Dash::AStandardStream);
  }

  const std::unique_ptr<Answers> answers = makeAnswers(options, images);
  const OutputForm form = answers->outputForm();
  compareCounts(options, labels, static_cast<std::size_t>(form.size()));

  Report report(options, labels);
  for (std::size_t i = 0; i < options.images.size(); ++i) {
    const Answer answer = answers->next();
    report.add(options.images[i], answer);
    if (raw) raw->write(std::as_bytes(answer.values));
    if (pictures) report.addPicture(pictures->save(i, form, answer, labels));
  }
  report.finish();
  if (raw) raw->commit();
  return ExitCode::Success;
}

}  // namespace OMB::tool
