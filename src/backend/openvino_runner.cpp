#include "backend/openvino_runner.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "ombrel/image/data_transformer.h"

#include "backend/first_entry.h"
#include "backend/tensor_type.h"

namespace OMB {
namespace {

namespace IE = InferenceEngine;

constexpr char kDevice[] = "OMBREL_CPU";
constexpr char kEnginePlugin[] = "MKLDNNPlugin";
constexpr char kThreads[] = "CPU_THREADS_NUM";

NNTensor toTensor(const std::optional<IE::Memory>& memory) {
  if (!memory) return {};
  const auto& [blob, desc] = *memory;
  return {blob->wmap().as<void*>(), blob->byteSize(), tensorType(desc.getPrecision()),
          desc.getDims()};
}

}  // namespace

OpenVINORunner::OpenVINORunner(const OpenVINONetwork* network, Config config) {
  try {
    Prepare(network->network, config);
  } catch (...) {
    ready = false;  // the only sign: a host has to ask
  }
}

void OpenVINORunner::Prepare(const IE::CNNNetwork& network, const Config& config) {
  IE::Core core(config.GetDataPath() + kPluginList);
  core.RegisterPlugin(kEnginePlugin, kDevice);
  const std::map<std::string, std::string> settings = {
      {kThreads, std::to_string(config.GetThreadCount())}};
  executableNetwork = core.LoadNetwork(network, kDevice, settings);
  ready = static_cast<bool>(executableNetwork);
  inputName = firstEntry(network.getInputsInfo()).first;
  outputName = firstEntry(network.getOutputsInfo()).first;
  MakeRequest();
}

void OpenVINORunner::MakeRequest() {
  inferRequest = executableNetwork.CreateInferRequest();
  inferRequest.GetBlob(inputName);  // a request that can't give its input is no use
}

INNRunner* OpenVINORunner::CreateSibling() {
  std::unique_ptr<OpenVINORunner> sibling(new OpenVINORunner);
  if (!ready) return sibling.release();
  try {
    sibling->executableNetwork = executableNetwork;
    sibling->inputName = inputName;
    sibling->outputName = outputName;
    sibling->MakeRequest();
    sibling->ready = true;
  } catch (...) {
    // It stays as it is, not ready, as a runner of CreateRunner does.
  }
  return sibling.release();
}

void* OpenVINORunner::GetInputBuffer() {
  return inferRequest.GetBlob(inputName)->wmap().as<void*>();
}

// Whether converting the image stays inside the input memory. Data that the conversion refuses
// writes nothing.
bool OpenVINORunner::FitsInput(const NNData& data) const {
  if (data.data == nullptr || data.channels < 1 || data.width < 1 || data.height < 1) return true;
  const std::uint64_t capacity = inferRequest.GetBlob(inputName)->byteSize() / sizeof(float);
  const auto pixels =
      static_cast<std::uint64_t>(data.width) * static_cast<std::uint64_t>(data.height);
  return pixels <= capacity / static_cast<std::uint64_t>(data.channels);
}

NNTensor OpenVINORunner::GetInput(const char* name) {
  return ready ? toTensor(inferRequest.FindInput(name)) : NNTensor();
}

NNTensor OpenVINORunner::GetOutput(const char* name) {
  return ready ? toTensor(inferRequest.FindOutput(name)) : NNTensor();
}

void* OpenVINORunner::Run(NNData* data) {
  if (!IsReady()) return nullptr;
  void* input = GetInputBuffer();
  if (input != data->data) {
    if (!FitsInput(*data)) return nullptr;
    NNData view(input, data->channels, data->width, data->height, GetInputLayout(),
                GetInputDataType(), true);
    DataTransformer::processData(data, &view);
  }
  inferRequest.Infer();
  return const_cast<void*>(inferRequest.GetBlob(outputName)->rmap().as<const void*>());
}

}  // namespace OMB
