#include "fenced_answers.h"

#include "tool_error.h"

namespace OMB::tool {

std::unique_ptr<Answers> makeFencedAnswers(Question& /*question*/, const ImagesOfSize& /*read*/,
                                           double /*limit*/) {
  throw ToolError(ExitCode::Usage, "--fenced is not there on Windows");
}

}  // namespace OMB::tool
