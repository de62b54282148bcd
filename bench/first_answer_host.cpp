// A host up to its first answer, as a product is: the package is proven, the pair is sealed.
//
//   first_answer_host BEGUN MANIFEST MODEL [STORED]   STORED: its compilation
#include <cstring>
#include <exception>
#include <memory>
#include <string>

#include "ombrel/model/nn_compilation.h"
#include "ombrel/ombrel.h"

#include "answer_steps.h"
#include "sealing_key.h"

namespace OMB::bench {
namespace {

int answer(int count, char** arguments) {
  AnswerSteps steps(arguments[1]);

  const Manifest manifest = readManifest(arguments[2]);
  const std::string folder = pluginFolder(arguments[2], manifest);
  const PackageVerifier package(folder, manifest, {"openvino.json"});
  if (!package.IsProven()) return 1;
  PluginManager manager;
  manager.SetPluginsDirectory(folder.c_str());
  const std::unique_ptr<DynamicPlugin> plugin = package.MakePlugin();
  if (manager.Load(*plugin) != PLUGIN_OK) return 2;
  steps.done();

  Config config;
  config.SetDataPath((folder + "/").c_str());
  unsigned char key[sizeof(kKey)];
  std::memcpy(key, kKey, sizeof(key));
  const std::unique_ptr<INNModel> model(
      plugin->GetCreateMethod()({arguments[3], key, sizeof(key), config}));
  if (!model->IsLoaded()) return 3;
  steps.done();

  if (count > 4) {
    auto& compilation = dynamic_cast<INNCompilation&>(*model);
    if (!compilation.UseCompilation(arguments[4], key, sizeof(key))) return 4;
  }
  const std::unique_ptr<INNRunner> runner(model->CreateRunner());
  steps.done();

  NNData filled(runner->GetInputBuffer(), 1, 1, 1, ImageUtils::ELayoutType::CHW, EDataType::FP32,
                true);
  if (runner->Run(&filled) == nullptr) return 5;
  steps.done();
  return 0;
}

}  // namespace
}  // namespace OMB::bench

int main(int count, char** arguments) {
  try {
    return OMB::bench::answer(count, arguments);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "first_answer_host: %s\n", failure.what());
    return 6;
  }
}
