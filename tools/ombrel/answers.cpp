#include "answers.h"

#include <chrono>

namespace OMB::tool {

OwnAnswers::OwnAnswers(Question& question, const std::vector<Image>& asked)
    : images(asked), size(question.size), form(question.form), session(question.model) {}

Answer OwnAnswers::next() {
  if (runner == nullptr) {
    runner = session.createRunner();
    requireFit(*runner, size);
  }
  NNData input = makeInput(images[answered++], form, *runner);
  const auto start = std::chrono::steady_clock::now();
  const std::span<const float> values = runOnce(*runner, input, session.outputSize());
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
  return {values, time.count()};
}

}  // namespace OMB::tool
