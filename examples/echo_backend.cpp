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
  EchoRunner(bool isReady, bool throws, float added)
      : ready(isReady), fails(throws), addend(added) {}

  void* Run(NNData* data) override {
    if (fails) throw std::runtime_error("the echo fails,\nin two lines\n");
    if (data->data != input.data()) {
      const auto count = static_cast<std::size_t>(data->channels * data->width * data->height);
      if (count > input.size()) return nullptr;
      NNData view(input.data(), data->channels, data->width, data->height,
                  ImageUtils::ELayoutType::CHW, EDataType::FP32, true);
      DataTransformer::processData(data, &view);
    }
    std::transform(input.begin(), input.end(), output.begin(),
                   [this](float value) { return value + addend; });
    return output.data();
  }
  bool IsReady() override { return ready; }
  void* GetInputBuffer() override { return input.data(); }

 private:
  bool ready;
  bool fails;
  float addend;
  std::array<float, 24> input{};
  std::array<float, 24> output{};
};

class EchoModel final : public INNModel {
 public:
  explicit EchoModel(const ModelParams& params)
      : path(params.path),
        loaded(Utility::fileSize(path + ".xml") > 0 && Utility::fileSize(path + ".bin") > 0 &&
               Utility::fileSize(params.config.GetDataPath() + "plugins.xml") > 0),
        threads(params.config.GetThreadCount()),
        addend(params.key == nullptr ? 0.0F : static_cast<float>(params.key[0])) {}

  INNRunner* CreateRunner() override {
    return new EchoRunner(threads != 13, path.ends_with("fails"), addend);
  }
  bool IsLoaded() override { return loaded; }
  int GetOutputSize() override { return 24; }
  EDataType GetDataType() override { return EDataType::FP32; }
  ImageUtils::ELayoutType GetLayout() override { return ImageUtils::ELayoutType::CHW; }

 private:
  std::string path;
  bool loaded;
  int threads;
  float addend;
};

}  // namespace

INNModel* Create(ModelParams params) {
  return new EchoModel(params);
}
void Initialize() {}
