// Loads a model that is in no file, and asks it for what INNModel and INNRunner do not tell.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <ombrel/ombrel.h>
#include <string>
#include <vector>

namespace {

// Stands for a resource of the program, an entry of an archive or a row of a database.
std::vector<unsigned char> resource(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void print(const char* what, const std::vector<OMB::NNTensorInfo>& tensors) {
  for (const OMB::NNTensorInfo& tensor : tensors) {
    std::printf("%s %s", what, tensor.name.c_str());
    for (const std::size_t dimension : tensor.shape) std::printf(" %zu", dimension);
    std::printf("\n");
  }
}

// All inputs 1, all outputs of the one run added up. Both are floats here.
float sumOfOutputs(OMB::INNRunner& runner, OMB::INNDescription& model) {
  auto& tensors = dynamic_cast<OMB::INNTensors&>(runner);
  for (const OMB::NNTensorInfo& input : model.GetInputs()) {
    const OMB::NNTensor tensor = tensors.GetInput(input.name.c_str());
    auto* values = static_cast<float*>(tensor.data);
    std::fill(values, values + tensor.bytes / sizeof(float), 1.0F);
  }
  // The record that says: the input memory is filled already.
  OMB::NNData filled(runner.GetInputBuffer(), 1, 1, 1, OMB::ImageUtils::ELayoutType::CHW,
                     OMB::EDataType::FP32, true);
  if (runner.Run(&filled) == nullptr) return 0;
  float sum = 0;
  for (const OMB::NNTensorInfo& output : model.GetOutputs()) {
    const OMB::NNTensor tensor = tensors.GetOutput(output.name.c_str());
    const auto* values = static_cast<const float*>(tensor.data);
    for (std::size_t i = 0; i < tensor.bytes / sizeof(float); ++i) sum += values[i];
  }
  return sum;
}

int run(const std::filesystem::path& folder, const std::string& modelBase) {
  // See host.cpp for the proof of the package, which comes first in a product.
  OMB::PluginManager manager;
  manager.SetPluginsDirectory(folder.string().c_str());
  OMB::DynamicPlugin plugin =
      OMB::makePlugin(OMB::readManifest((folder / "openvino.json").string()));
  if (manager.Load(plugin) != OMB::PLUGIN_OK) return 1;
  OMB::Config config;
  config.SetDataPath((folder / "").string());

  std::unique_ptr<OMB::INNModel> model;
  {
    const std::vector<unsigned char> text = resource(modelBase + ".xml");
    const std::vector<unsigned char> weights = resource(modelBase + ".bin");
    const OMB::ModelBuffers entered("in the program", {text, weights});
    model.reset(plugin.GetCreateMethod()({"in the program", nullptr, 0, config}));
  }
  auto* description = dynamic_cast<OMB::INNDescription*>(model.get());
  if (!model->IsLoaded() || description == nullptr) return 2;
  print("input", description->GetInputs());
  print("output", description->GetOutputs());

  const std::unique_ptr<OMB::INNRunner> runner(model->CreateRunner());
  auto* siblings = dynamic_cast<OMB::INNSiblings*>(runner.get());
  if (!runner->IsReady() || siblings == nullptr) return 3;
  const std::unique_ptr<OMB::INNRunner> sibling(siblings->CreateSibling());
  if (!sibling->IsReady()) return 3;
  const float sum = sumOfOutputs(*sibling, *description);
  std::printf("sum %g\n", static_cast<double>(sum));
  return sum == 6 ? 0 : 4;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fprintf(stderr, "Usage: buffers FOLDER MODEL, as of host\n");
    return 64;
  }
  try {
    return run(arguments[1], arguments[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "buffers: %s\n", error.what());
    return 6;
  }
}
