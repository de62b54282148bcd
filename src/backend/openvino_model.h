// OpenVINOModel: a model pair, read, decrypted in memory and parsed by the engine.
#pragma once

#include <memory>
#include <vector>

#include "ombrel/model/entry_points.h"
#include "ombrel/model/nn_compilation.h"
#include "ombrel/model/nn_description.h"

#include "backend/openvino_network.h"

namespace OMB {

/// The backend's model. After construction the network is only read, but by UseCompilation.
class OpenVINOModel final : public INNModel, public INNDescription, public INNCompilation {
 public:
  /// Does the whole load. Nothing of a decrypted model ever reaches the disk.
  explicit OpenVINOModel(ModelParams params);

  INNRunner* CreateRunner() override;
  bool IsLoaded() override { return network->loaded; }
  int GetOutputSize() override;
  EDataType GetDataType() override { return EDataType::FP32; }
  ImageUtils::ELayoutType GetLayout() override { return ImageUtils::ELayoutType::CHW; }
  std::vector<NNTensorInfo> GetInputs() override;
  std::vector<NNTensorInfo> GetOutputs() override;
  bool StoreCompilation(const char* file, const unsigned char* key, int keySize) override;
  bool UseCompilation(const char* file, const unsigned char* key, int keySize) override;
  int GetRefusedCompilations() override { return network->refused; }

 private:
  bool LoadModel(const ModelParams& params);
  void ReadNetwork(const ModelParams& params, const std::string& path);
  void PrepareInputAndOutput();

  std::unique_ptr<OpenVINONetwork> network;
  Config config;
};

}  // namespace OMB
