// What a network says about images, wherever it runs.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "image_file.h"
#include "model_session.h"
#include "output_form.h"
#include "runner_input.h"

namespace OMB::tool {

/// What is to be asked of which network.
struct Question {
  ModelOptions model;
  std::optional<ImageSize> size;  ///< nothing: the model's own
  InputForm form = InputForm::U8Hwc;
};

/// Gives the images, each of this size. Called once, when the size is known. Throws ToolError.
using ImagesOfSize = std::function<std::vector<Image>(ImageSize)>;

struct Answer {
  std::span<const float> values;  ///< until the next answer
  double milliseconds;            ///< of the run alone
};

/// The answers about a list of images. Each operation throws ToolError; to be called in this order.
class Answers {
 public:
  Answers() = default;
  Answers(const Answers&) = delete;
  Answers& operator=(const Answers&) = delete;
  virtual ~Answers() = default;

  /// How the values of each answer lie, known once the model is loaded.
  virtual OutputForm outputForm() = 0;
  /// The next image's, in their order: no more often than there are images.
  virtual Answer next() = 0;
};

/// By a runner of this process. The question's key is gone when the model is loaded; the images are
/// asked for after that.
class OwnAnswers final : public Answers {
 public:
  OwnAnswers(Question& question, const ImagesOfSize& read);

  OutputForm outputForm() override;
  Answer next() override;

  std::size_t imageCount() const { return images.size(); }

 private:
  InputForm form;
  ModelSession session;
  ImageSize size;
  std::vector<Image> images;
  std::unique_ptr<INNRunner> runner;  // made when the first answer is asked for
  std::size_t answered = 0;
};

}  // namespace OMB::tool
