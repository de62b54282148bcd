// The backend beside the engine called directly: making runners, running. Names are
// SUBJECT/CASE/PEER.
//
//   backend_bench --demo FOLDER [--benchmark_...]
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <openvino/c/openvino.h>
#include <openvino/op/add.hpp>
#include <openvino/op/parameter.hpp>
#include <openvino/openvino.hpp>

#include "ombrel/image/transform_image.h"
#include "ombrel/model/nn_siblings.h"

#include "build_constants.h"
#include "image_file.h"
#include "paired.h"
#include "program.h"
#include "runner_input.h"
#include "workspace.h"

namespace OMB::bench {
namespace {

// The engine's own request, compiled as a runner's is.
ov::InferRequest requestIn(const std::string& base, const std::string& precision) {
  ov::AnyMap settings = {ov::inference_num_threads(1)};
  if (!precision.empty()) settings["INFERENCE_PRECISION_HINT"] = precision;
  ov::Core core;
  return core.compile_model(core.read_model(base + ".xml", base + ".bin"), "CPU", settings)
      .create_infer_request();
}

// A core takes a name for a plug-in once only, so the peer makes a core each time as a runner does.
void registerRunnerConstruction(const Workspace& files, const std::string& classifier) {
  const auto measure = [=, &files](benchmark::State& state) {
    const auto model = create(classifier, false, files.dataPath());
    ov::Core reader;
    const auto network = reader.read_model(classifier + ".xml", classifier + ".bin");
    measurePair(
        state, [&] { std::unique_ptr<INNRunner>(model->CreateRunner()); },
        [&] {
          ov::Core core(files.base("plugins.xml"));
          core.register_plugin(OMBREL_CPU_PLUGIN, "OMBREL_CPU");
          core.compile_model(network, "OMBREL_CPU", ov::inference_num_threads(1));
        });
  };
  benchmark::RegisterBenchmark("create_runner/classifier/compile_model", measure)
      ->UseManualTime()
      ->Iterations(25);
}

// Runners that share a compilation beside those that do not.
void registerSiblings(const Workspace& files, const std::string& classifier) {
  const auto measure = [=, &files](benchmark::State& state) {
    const auto model = create(classifier, false, files.dataPath());
    const std::unique_ptr<INNRunner> first(model->CreateRunner());
    auto& siblings = dynamic_cast<INNSiblings&>(*first);
    measurePair(
        state, [&] { std::unique_ptr<INNRunner>(siblings.CreateSibling()); },
        [&] { std::unique_ptr<INNRunner>(model->CreateRunner()); });
  };
  benchmark::RegisterBenchmark("create_sibling/classifier/create_runner", measure)
      ->UseManualTime()
      ->Iterations(25);
}

// A runner, and a request of the engine's own over a network compiled like the runner's.
struct OursAndBare {
  OursAndBare(const Workspace& files, const std::string& base)
      : model(create(base, false, files.dataPath())),
        runner(model->CreateRunner()),
        bare(requestIn(base, std::string(inferencePrecision))) {}

  // The record that says: the input memory is filled already.
  NNData filled() const {
    return NNData(runner->GetInputBuffer(), 1, 1, 1, ImageUtils::ELayoutType::CHW, EDataType::FP32,
                  true);
  }

  std::unique_ptr<INNModel> model;
  std::unique_ptr<INNRunner> runner;
  ov::InferRequest bare;
};

// Two compilations of one network differ by a percent, by where their memory happens to lie: so
// there are several, and measurements go round them.
constexpr int kPairs = 6;

void fill(void* memory, std::size_t count) {
  std::minstd_rand random(1);
  auto* values = static_cast<float*>(memory);
  for (std::size_t i = 0; i < count; ++i) values[i] = static_cast<float>(random() % 256) / 255;
}

// `batch` runs are one measurement: a single run of a tiny network is too short for the clock.
template <typename Peer>
void measureRuns(benchmark::State& state, std::vector<OursAndBare>& ours, int batch, Peer peer) {
  std::size_t oursTurn = 0;
  std::size_t peersTurn = 0;
  measurePair(
      state,
      [&] {
        const OursAndBare& each = ours[oursTurn++ % kPairs];
        NNData image = each.filled();
        for (int i = 0; i < batch; ++i) benchmark::DoNotOptimize(each.runner->Run(&image));
      },
      [&] {
        auto& each = peer(peersTurn++ % kPairs);
        for (int i = 0; i < batch; ++i) each.infer();
      });
  state.counters["ours_s"].value /= batch;
  state.counters["peer_s"].value /= batch;
}

void registerFilledRun(const Workspace& files, const std::string& base, const char* name, int batch,
                       int iterations) {
  const auto measure = [=, &files](benchmark::State& state) {
    std::vector<OursAndBare> pairs;
    while (pairs.size() < kPairs) {
      OursAndBare& both = pairs.emplace_back(files, base);
      ov::Tensor input = both.bare.get_input_tensor();
      fill(both.runner->GetInputBuffer(), input.get_size());
      fill(input.data(), input.get_size());
    }
    measureRuns(
        state, pairs, batch, [&](std::size_t turn) -> auto& { return pairs[turn].bare; });
  };
  benchmark::RegisterBenchmark((std::string("run_filled/") + name + "/bare_infer").c_str(), measure)
      ->UseManualTime()
      ->Iterations(iterations);
}

// A request as a program in C has it. All of it is released with it.
class CRequest {
 public:
  explicit CRequest(const std::string& base) {
    ov_model_t* model = nullptr;
    const bool read =
        ov_core_create(&core) == OK &&
        ov_core_read_model(core, (base + ".xml").c_str(), (base + ".bin").c_str(), &model) == OK;
    const std::string precision(inferencePrecision);
    const std::size_t settings = precision.empty() ? 2 : 4;
    if (read) {
      ov_core_compile_model(core, model, "CPU", settings, &compiled, "INFERENCE_NUM_THREADS", "1",
                            "INFERENCE_PRECISION_HINT", precision.c_str());
      ov_model_free(model);
    }
    if (compiled == nullptr || ov_compiled_model_create_infer_request(compiled, &request) != OK) {
      throw std::runtime_error("the engine's C interface made no request");
    }
  }
  CRequest(CRequest&& other) noexcept
      : core(std::exchange(other.core, nullptr)),
        compiled(std::exchange(other.compiled, nullptr)),
        request(std::exchange(other.request, nullptr)) {}
  CRequest& operator=(CRequest&&) = delete;
  ~CRequest() {
    ov_infer_request_free(request);
    ov_compiled_model_free(compiled);
    ov_core_free(core);
  }

  void infer() const { ov_infer_request_infer(request); }

 private:
  ov_core_t* core = nullptr;
  ov_compiled_model_t* compiled = nullptr;
  ov_infer_request_t* request = nullptr;
};

// What a runner adds to the call that it makes.
void registerCall(const Workspace& files, const std::string& base) {
  const auto measure = [=, &files](benchmark::State& state) {
    std::vector<OursAndBare> ours;
    std::vector<CRequest> peers;
    while (ours.size() < kPairs) {
      ours.emplace_back(files, base);
      peers.emplace_back(base);
    }
    measureRuns(
        state, ours, 1000, [&](std::size_t turn) -> auto& { return peers[turn]; });
  };
  benchmark::RegisterBenchmark("run_call/one_node/c_infer", measure)
      ->UseManualTime()
      ->Iterations(100);
}

// The peer converts inside its graph.
ov::InferRequest preprocessingRequest(const std::string& base) {
  ov::Core core;
  ov::preprocess::PrePostProcessor steps(core.read_model(base + ".xml", base + ".bin"));
  steps.input().tensor().set_element_type(ov::element::u8).set_layout("NHWC");
  steps.input().preprocess().convert_element_type(ov::element::f32).scale(255);
  steps.input().model().set_layout("NCHW");
  return core.compile_model(steps.build(), "CPU", ov::inference_num_threads(1))
      .create_infer_request();
}

void registerPhotoRun(const Workspace& files, const std::string& demo) {
  const auto measure = [=, &files](benchmark::State& state) {
    const tool::Image photo = tool::readImage(demo + "/chelsea.ppm");
    std::vector<OursAndBare> ours;
    std::vector<ov::InferRequest> peers;
    while (ours.size() < kPairs) {
      ours.emplace_back(files, demo + "/classifier");
      peers.push_back(preprocessingRequest(demo + "/classifier"));
    }
    NNData image = tool::makeInput(photo, tool::InputForm::U8Hwc, *ours[0].runner);
    std::size_t oursTurn = 0;
    std::size_t peersTurn = 0;
    measurePair(
        state, [&] { benchmark::DoNotOptimize(ours[oursTurn++ % kPairs].runner->Run(&image)); },
        [&] {
          ov::InferRequest& peer = peers[peersTurn++ % kPairs];
          std::memcpy(peer.get_input_tensor().data(), photo.samples.data(), photo.samples.size());
          peer.infer();
        });
  };
  benchmark::RegisterBenchmark("run_photo/classifier/engine_preprocessing", measure)
      ->UseManualTime()
      ->Iterations(600);
}

void putPhoto(ov::InferRequest& request, const tool::Image& photo) {
  const std::unique_ptr<float[]> planar(ImageUtils::TransformImage(
      photo.samples.data(), photo.size.width, photo.size.height, 3, ImageUtils::EFormat::U8));
  std::memcpy(request.get_input_tensor().data(), planar.get(),
              photo.samples.size() * sizeof(float));
}

double largestDifference(ov::InferRequest& one, ov::InferRequest& other, const std::string& demo) {
  double largest = 0;
  for (const char* name : {"chelsea", "coffee", "camera"}) {
    const tool::Image photo = tool::readImage(demo + "/" + name + ".ppm");
    for (ov::InferRequest* request : {&one, &other}) {
      putPhoto(*request, photo);
      request->infer();
    }
    const auto* a = one.get_output_tensor().data<const float>();
    const auto* b = other.get_output_tensor().data<const float>();
    for (std::size_t i = 0; i < one.get_output_tensor().get_size(); ++i) {
      largest = std::max(largest, static_cast<double>(std::abs(a[i] - b[i])));
    }
  }
  return largest;
}

// What the engine's own choice of a precision gains and costs: no claim of ours, but a choice of
// the build.
void registerPrecision(const std::string& demo) {
  const auto measure = [=](benchmark::State& state) {
    ov::InferRequest own = requestIn(demo + "/classifier", "");
    ov::InferRequest single = requestIn(demo + "/classifier", "f32");
    state.counters["largest_difference"] = largestDifference(own, single, demo);
    measurePair(
        state, [&] { own.infer(); }, [&] { single.infer(); });
  };
  benchmark::RegisterBenchmark("precision/classifier/f32", measure)
      ->UseManualTime()
      ->Iterations(100);
}

// Does the work with `count` of them from `first` on, each in a thread of its own, and returns when
// all is done.
void inThreads(std::vector<OursAndBare>& all, std::size_t first, int count,
               const std::function<void(OursAndBare&)>& work) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back(work, std::ref(all[(first + static_cast<std::size_t>(i)) % all.size()]));
  }
}

void registerThreads(const Workspace& files, const std::string& classifier, int count) {
  const auto measure = [=, &files](benchmark::State& state) {
    constexpr int kRuns = 16;
    std::vector<OursAndBare> all;
    while (all.size() < kPairs) all.emplace_back(files, classifier);
    std::size_t oursFirst = 0;
    std::size_t bareFirst = 0;
    measurePair(
        state,
        [&] {
          inThreads(all, oursFirst++, count, [](OursAndBare& each) {
            NNData image = each.filled();
            for (int i = 0; i < kRuns; ++i) benchmark::DoNotOptimize(each.runner->Run(&image));
          });
        },
        [&] {
          inThreads(all, bareFirst++, count, [](OursAndBare& each) {
            for (int i = 0; i < kRuns; ++i) each.bare.infer();
          });
        });
    state.counters["ours_s"].value /= kRuns * count;
    state.counters["peer_s"].value /= kRuns * count;
  };
  const std::string name = "throughput/" + std::to_string(count) + "_runners/bare_requests";
  benchmark::RegisterBenchmark(name.c_str(), measure)
      ->UseManualTime()
      ->Iterations(count > 2 ? 15 : 31);
}

// y = x + x over three numbers.
void writeTinyModel(const std::string& base) {
  const auto x = std::make_shared<ov::op::v0::Parameter>(ov::element::f32, ov::Shape{1, 3});
  const auto sum = std::make_shared<ov::op::v1::Add>(x, x);
  ov::save_model(std::make_shared<ov::Model>(ov::OutputVector{sum}, ov::ParameterVector{x}),
                 base + ".xml", false);
  std::ofstream(base + ".bin") << 'w';
}

int main(Arguments arguments) {
  const std::string demo = takeDemo(arguments);
  const Workspace files;
  writeTinyModel(files.base("tiny"));
  registerRunnerConstruction(files, demo + "/classifier");
  registerSiblings(files, demo + "/classifier");
  registerFilledRun(files, demo + "/classifier", "classifier", 1, 300);
  registerFilledRun(files, files.base("tiny"), "one_node", 1000, 100);
  registerCall(files, files.base("tiny"));
  registerPhotoRun(files, demo);
  registerPrecision(demo);
  for (const int count : {1, 2, 4}) registerThreads(files, demo + "/classifier", count);

  return runBenchmarks(std::move(arguments));
}

}  // namespace
}  // namespace OMB::bench

int main(int count, char** arguments) {
  return OMB::bench::guarded(count, arguments, OMB::bench::main);
}
