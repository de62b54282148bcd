// OpenVINORunner: one executable copy of a network, with one request.
#pragma once

#include <string>

#include "ombrel/model/config.h"
#include "ombrel/model/nn_runner.h"
#include "ombrel/model/nn_siblings.h"
#include "ombrel/model/nn_tensors.h"

#include "backend/openvino_network.h"

namespace OMB {

/// The backend's runner. Once it is constructed it shares nothing with its model, and the compiled
/// network with its siblings only.
class OpenVINORunner final : public INNRunner, public INNTensors, public INNSiblings {
 public:
  /// Borrows the network until it returns. Any failure leaves a runner that is not ready, silently.
  OpenVINORunner(const OpenVINONetwork* network, Config config);
  ~OpenVINORunner() override = default;

  void* Run(NNData* data) override;
  bool IsReady() override { return ready; }
  void* GetInputBuffer() override;
  virtual ImageUtils::ELayoutType GetInputLayout() { return ImageUtils::ELayoutType::CHW; }
  virtual EDataType GetInputDataType() { return EDataType::FP32; }

  NNTensor GetInput(const char* name) override;
  NNTensor GetOutput(const char* name) override;
  INNRunner* CreateSibling() override;

 private:
  OpenVINORunner() = default;

  void Prepare(const OpenVINONetwork& network, const Config& config);
  void MakeRequest();
  bool FitsInput(const NNData& data) const;

  InferenceEngine::ExecutableNetwork executableNetwork;
  InferenceEngine::InferRequest inferRequest;
  bool ready = false;
  std::string inputName;
  std::string outputName;
};

}  // namespace OMB
