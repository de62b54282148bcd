// The engine called directly up to its first answer: nothing is proven, the pair is in the clear.
//
//   first_answer_engine BEGUN MODEL
#include <exception>
#include <string>

#include <openvino/openvino.hpp>

#include "answer_steps.h"
#include "build_constants.h"

namespace OMB::bench {
namespace {

void answer(char** arguments) {
  AnswerSteps steps(arguments[1]);
  ov::Core core;
  core.get_versions("CPU");  // loads the plug-in
  steps.done();
  const std::string base = arguments[2];
  const auto network = core.read_model(base + ".xml", base + ".bin");
  steps.done();
  ov::AnyMap settings = {ov::inference_num_threads(1)};
  const std::string precision(inferencePrecision);
  if (!precision.empty()) settings["INFERENCE_PRECISION_HINT"] = precision;
  ov::InferRequest request = core.compile_model(network, "CPU", settings).create_infer_request();
  steps.done();
  request.infer();
  steps.done();
}

}  // namespace
}  // namespace OMB::bench

int main(int /*count*/, char** arguments) {
  try {
    OMB::bench::answer(arguments);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "first_answer_engine: %s\n", failure.what());
    return 1;
  }
}
