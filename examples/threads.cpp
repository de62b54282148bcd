// One model, several threads: each has a runner of its own, and they share the images.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <ombrel/ombrel.h>
#include <thread>
#include <vector>

namespace {

/// What the threads share: each takes the next image that nobody has taken.
struct Work {
  explicit Work(std::size_t count) : results(count) {}

  std::atomic<std::size_t> next{0};
  std::atomic<bool> failed{false};
  std::vector<float> results;  ///< the first output value of each image
};

/// A network of three values, so that an image is a single pixel.
OMB::NNData imageOf(float (&pixel)[3], std::size_t number) {
  for (float& value : pixel) value = static_cast<float>(number);
  return {pixel, 3, 1, 1, OMB::ImageUtils::ELayoutType::CHW, OMB::EDataType::FP32, true};
}

/// A runner belongs to one thread at a time; nothing else has to be locked. An exception that left
/// the thread would end the program.
void serve(OMB::INNRunner& runner, Work& work) noexcept {
  try {
    for (std::size_t i = work.next++; i < work.results.size(); i = work.next++) {
      float pixel[3];
      OMB::NNData image = imageOf(pixel, i);
      const auto* output = static_cast<const float*>(runner.Run(&image));
      if (output == nullptr) throw std::exception();
      work.results[i] = output[0];
    }
  } catch (const std::exception&) {
    work.failed = true;
  }
}

/// One compiled copy each, made here one after another. Siblings would share one, and wait for each
/// other.
std::vector<std::unique_ptr<OMB::INNRunner>> makeRunners(OMB::INNModel& model, std::size_t count) {
  std::vector<std::unique_ptr<OMB::INNRunner>> runners;
  while (runners.size() < count) {
    runners.emplace_back(model.CreateRunner());
    if (!runners.back()->IsReady()) return {};
  }
  return runners;
}

int run(const std::filesystem::path& folder, const char* modelBase, std::size_t threads) {
  OMB::Config config;  // a single thread of the engine for each runner
  config.SetDataPath((folder / "").string());
  const OMB::Manifest manifest = OMB::readManifest((folder / "openvino.json").string());
  const OMB::PackageVerifier package(folder.string(), manifest, {"openvino.json"});
  if (!package.IsProven()) return 1;
  const std::unique_ptr<OMB::DynamicPlugin> plugin = package.MakePlugin();
  OMB::PluginManager manager;
  manager.SetPluginsDirectory(folder.string().c_str());
  if (manager.Load(*plugin) != OMB::PLUGIN_OK) return 5;

  const OMB::CreateFunction create = plugin->GetCreateMethod();
  const std::unique_ptr<OMB::INNModel> model(create({modelBase, nullptr, 0, config}));
  if (!model->IsLoaded()) return 2;
  const auto runners = makeRunners(*model, threads);
  if (runners.empty()) return 3;

  Work work(1000);
  {
    std::vector<std::jthread> running;
    for (const auto& runner : runners) {
      running.emplace_back([&] { serve(*runner, work); });
    }
  }
  if (work.failed) return 4;
  std::printf("%zu images by %zu runners, the last one: %g\n", work.results.size(), runners.size(),
              static_cast<double>(work.results.back()));
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  const int threads = count == 4 ? std::atoi(arguments[3]) : 0;
  if (threads < 1) {
    std::fprintf(stderr,
                 "Usage: threads FOLDER MODEL N\n"
                 "Runs MODEL.xml and MODEL.bin, of an input of 1x3x1x1, on a thousand images by N "
                 "threads.\nFOLDER is where the backend is installed: DIR/lib/ombrel.\n");
    return 64;
  }
  try {
    return run(arguments[1], arguments[2], static_cast<std::size_t>(threads));
  } catch (const std::exception& error) {  // of the manifest, or of the engine
    std::fprintf(stderr, "threads: %s\n", error.what());
    return 6;
  }
}
