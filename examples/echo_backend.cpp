// The least that a backend is: two classes and two exports, over the public headers alone.
//
// Its network puts out its input, 3 channels of 4x2, with the first byte of the key added. It loads
// if the pair and plugins.xml are there. So that hosts can be tested on what may go wrong, 13
// threads give a runner that is not ready, and a model whose name ends in "fails" one that throws.
#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

#include "ombrel/image/data_transformer.h"
#include "ombrel/model/backend.h"
#include "ombrel/platform/file_utils.h"

namespace {

using namespace OMB;

class EchoRunner final : public INNRunner {
 public:
  EchoRunner(bool isReady, bool fails, float addend)
      : ready_(isReady), fails_(fails), addend_(addend) {}

  void* Run(NNData* data) override {
    if (fails_) throw std::runtime_error("the echo fails,\nin two lines\n");
    if (data->data != input_.data()) {
      const auto count = static_cast<std::size_t>(data->channels * data->width * data->height);
      if (count > input_.size()) return nullptr;
      NNData view(input_.data(), data->channels, data->width, data->height,
                  ImageUtils::ELayoutType::CHW, EDataType::FP32, true);
      DataTransformer::processData(data, &view);
    }
    std::transform(input_.begin(), input_.end(), output_.begin(),
                   [this](float value) { return value + addend_; });
    return output_.data();
  }
  bool IsReady() override { return ready_; }
  void* GetInputBuffer() override { return input_.data(); }

 private:
  bool ready_;
  bool fails_;
  float addend_;
  std::array<float, 24> input_{};
  std::array<float, 24> output_{};
};

class EchoModel final : public INNModel {
 public:
  explicit EchoModel(const ModelParams& params)
      : path_(params.path),
        loaded_(Utility::fileSize(path_ + ".xml") > 0 && Utility::fileSize(path_ + ".bin") > 0 &&
                Utility::fileSize(params.config.GetDataPath() + "plugins.xml") > 0),
        threads_(params.config.GetThreadCount()),
        addend_(params.key == nullptr ? 0.0F : static_cast<float>(params.key[0])) {}

  INNRunner* CreateRunner() override {
    return new EchoRunner(threads_ != 13, path_.ends_with("fails"), addend_);
  }
  bool IsLoaded() override { return loaded_; }
  int GetOutputSize() override { return 24; }
  EDataType GetDataType() override { return EDataType::FP32; }
  ImageUtils::ELayoutType GetLayout() override { return ImageUtils::ELayoutType::CHW; }

 private:
  std::string path_;
  bool loaded_;
  int threads_;
  float addend_;
};

}  // namespace

INNModel* Create(ModelParams params) {
  return new EchoModel(params);
}
void Initialize() {}
