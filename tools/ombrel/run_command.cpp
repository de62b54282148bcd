#include "run_command.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numeric>
#include <span>
#include <sstream>
#include <string>
#include <utility>

#include "fenced_answers.h"
#include "files.h"
#include "json_text.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

using Labels = std::vector<std::string>;

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

/// One label a line.
Labels readLabels(const std::filesystem::path& file) {
  if (file.empty()) return {};
  std::istringstream lines(readTextFile(file));
  Labels labels;
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with('\r')) line.pop_back();
    labels.push_back(line);
  }
  return labels;
}

void compareCounts(const RunOptions& options, const Labels& labels, std::size_t outputs) {
  if (options.labels.empty() || labels.size() == outputs) return;
  std::fprintf(stderr, "ombrel: note: %s has %zu labels, the network puts out %zu values\n",
               options.labels.string().c_str(), labels.size(), outputs);
}

std::string labelOf(const Labels& labels, std::size_t index) {
  return index < labels.size() ? labels[index] : "class " + std::to_string(index);
}

/// Width on a terminal, near enough: the number of characters of an UTF-8 text.
std::size_t displayWidth(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

/// The `count` best values' indices, the best first. NaN is worse than any number.
std::vector<std::size_t> bestIndices(std::span<const float> values, std::size_t count) {
  std::vector<std::size_t> indices(values.size());
  std::iota(indices.begin(), indices.end(), std::size_t{0});
  const auto end = indices.begin() + static_cast<std::ptrdiff_t>(std::min(count, indices.size()));
  const auto rank = [&](std::size_t index) {
    return std::isnan(values[index]) ? -std::numeric_limits<float>::infinity() : values[index];
  };
  std::partial_sort(indices.begin(), end, indices.end(), [&](std::size_t left, std::size_t right) {
    return rank(left) > rank(right) || (rank(left) == rank(right) && left < right);
  });
  indices.erase(end, indices.end());
  return indices;
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
    const float value = values[index];
    const bool plain = value == 0 || (std::fabs(value) >= 1e-4F && std::fabs(value) < 1e6F);
    std::printf(plain ? "  %s%s  %9.4f\n" : "  %s%s  %9.3g\n", label.c_str(), padding.c_str(),
                static_cast<double>(value));
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
    return shown ? options.top.value_or(5) : 0;
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
  const ImagesOfSize images = prepareImages(options);
  const Labels labels = readLabels(options.labels);
  std::unique_ptr<PendingFile> raw;
  if (!options.rawOutput.empty()) {
    raw = std::make_unique<PendingFile>(options.rawOutput, Dash::AStandardStream);
  }

  const std::unique_ptr<Answers> answers = makeAnswers(options, images);
  compareCounts(options, labels, answers->outputSize());

  Report report(options, labels);
  for (const std::filesystem::path& image : options.images) {
    const Answer answer = answers->next();
    report.add(image, answer);
    if (raw) raw->write(std::as_bytes(answer.values));
  }
  report.finish();
  if (raw) raw->commit();
  return ExitCode::Success;
}

}  // namespace OMB::tool
