// Runs a network of three values through the installed backend.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <ombrel/ombrel.h>

int run(const std::filesystem::path& folder, const char* modelBase) {
  // A real host has the manifest, or its digest, where nobody who can change the package can.
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
      plugin->GetCreateMethod()({modelBase, nullptr, 0, config}));
  if (!model->IsLoaded()) return 2;
  const std::unique_ptr<OMB::INNRunner> runner(model->CreateRunner());
  if (!runner->IsReady()) return 3;
  float pixels[] = {1, 2, 3};
  OMB::NNData image(pixels, 3, 1, 1, OMB::ImageUtils::ELayoutType::CHW, OMB::EDataType::FP32, true);
  const auto* output = static_cast<const float*>(runner->Run(&image));
  if (output == nullptr) return 4;
  for (int i = 0; i < model->GetOutputSize(); ++i) std::printf("%g\n", output[i]);
  return 0;
}

int main(int count, char** arguments) {
  if (count != 3) {
    std::fprintf(
        stderr,
        "Usage: host FOLDER MODEL\n"
        "Runs MODEL.xml and MODEL.bin, of an input of 1x3x1x1, on 1, 2, 3 and prints the output.\n"
        "FOLDER is where the backend is installed: DIR/lib/ombrel.\n");
    return 64;
  }
  try {
    return run(arguments[1], arguments[2]);
  } catch (const std::exception& error) {  // of the manifest, or of the engine
    std::fprintf(stderr, "host: %s\n", error.what());
    return 6;
  }
}
