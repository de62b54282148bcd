#include "backend/openvino_runner.h"

#include <cstdint>
#include <memory>
#include <optional>

#include "ombrel/image/data_transformer.h"

#include "backend/device.h"
#include "backend/first_entry.h"
#include "backend/tensor_type.h"

namespace OMB {
namespace {

namespace IE = InferenceEngine;

NNTensor toTensor(const std::optional<IE::Memory>& memory) {
  if (!memory) return {};
  const auto& [blob, desc] = *memory;
  return {blob->wmap().as<void*>(), blob->byteSize(), tensorType(desc.getPrecision()),
          desc.getDims()};
}

// Out of the compilation that there is, or by compiling.
IE::ExecutableNetwork executableOf(const OpenVINONetwork& network, const Config& config) {
  Device device(config);
  if (network.compilation != nullptr) {
    try {
      return device.Import(network.network, network.compilation);
    } catch (const IE::InferenceEngineException&) {
      ++network.refused;
    }
  }
  return device.Compile(network.network);
}

}  // namespace

OpenVINORunner::OpenVINORunner(const OpenVINONetwork* network, Config config) {
  try {
    Prepare(*network, config);
  } catch (...) {
    ready = false;  // the only sign: a host has to ask
  }
}

void OpenVINORunner::Prepare(const OpenVINONetwork& network, const Config& config) {
  executableNetwork = executableOf(network, config);
  ready = static_cast<bool>(executableNetwork);
  inputName = firstEntry(network.network.getInputsInfo()).first;
  outputName = firstEntry(network.network.getOutputsInfo()).first;
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
