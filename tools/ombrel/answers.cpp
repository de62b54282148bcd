#include "answers.h"

#include <chrono>

#include "input_size.h"

namespace OMB::tool {

OwnAnswers::OwnAnswers(Question& question, const ImagesOfSize& read)
    : form(question.form),
      session(question.model),
      size(chooseSize(session.get(), question.size)),
      images(read(size)) {}

OutputForm OwnAnswers::outputForm() {
  return formOf(session.get(), session.outputSize(), size);
}

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
