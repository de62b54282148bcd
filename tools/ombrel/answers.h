// What a network says about images, wherever it runs.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "image_file.h"
#include "model_session.h"
#include "runner_input.h"

namespace OMB::tool {

/// What is to be asked of which network.
struct Question {
  ModelOptions model;
  ImageSize size;
  InputForm form = InputForm::U8Hwc;
};

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

  /// Number of values of each answer, known once the model is loaded.
  virtual std::size_t outputSize() = 0;
  /// The next image's, in their order: no more often than there are images.
  virtual Answer next() = 0;
};

/// By a runner of this process. The question's key is gone when the model is loaded; the images
/// outlive the answers.
class OwnAnswers final : public Answers {
 public:
  OwnAnswers(Question& question, const std::vector<Image>& images);

  std::size_t outputSize() override { return session.outputSize(); }
  Answer next() override;

 private:
  const std::vector<Image>& images;
  ImageSize size;
  InputForm form;
  ModelSession session;
  std::unique_ptr<INNRunner> runner;  // made when the first answer is asked for
  std::size_t answered = 0;
};

}  // namespace OMB::tool
