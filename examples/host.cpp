// Runs a network that doubles its input through the installed backend.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ombrel/ombrel.h>

int main(int, char** arguments) {
  // A real host has the manifest, or its digest, where nobody who can change the package can.
  const std::filesystem::path folder = std::filesystem::path(BACKEND).parent_path();
  const OMB::Manifest manifest = OMB::readManifest((folder / "openvino.json").string());
  const OMB::PackageVerifier package(folder.string(), manifest, {"openvino.json"});
  if (!package.IsProven()) return 1;

  OMB::PluginManager manager;
  manager.SetPluginsDirectory(folder.string().c_str());
  const std::unique_ptr<OMB::DynamicPlugin> plugin = package.MakePlugin();
  if (manager.Load(*plugin) != OMB::PLUGIN_OK) return 5;

  OMB::Config config;
  config.SetDataPath((folder / "").string());
  const std::unique_ptr<OMB::INNModel> model(
      plugin->GetCreateMethod()({arguments[1], nullptr, 0, config}));
  if (!model->IsLoaded()) return 2;
  const std::unique_ptr<OMB::INNRunner> runner(model->CreateRunner());
  float pixels[] = {1, 2, 3};
  OMB::NNData image(pixels, 3, 1, 1, OMB::ImageUtils::ELayoutType::CHW, OMB::EDataType::FP32, true);
  const auto* output = static_cast<const float*>(runner->Run(&image));
  if (output == nullptr || model->GetOutputSize() != 3) return 3;
  std::printf("%g %g %g\n", output[0], output[1], output[2]);
  return output[0] == 2 && output[1] == 4 && output[2] == 6 ? 0 : 4;
}
