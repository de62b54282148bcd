// The real networks, compared byte for byte with the engine called directly under the same
// settings.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <openvino/openvino.hpp>

#include "ombrel/image/transform_image.h"
#include "ombrel/model/nn_compilation.h"

#include "backend_fixture.h"
#include "build_constants.h"
#include "image_file.h"
#include "runner_input.h"

namespace OMB {
namespace {

const std::string kDemo = OMBREL_DEMO_DATA;

struct Network {
  const char* base;  // below the demo data
  tool::ImageSize size;
  int outputs;
  std::vector<const char*> photos;

  friend void PrintTo(const Network& network, std::ostream* out) { *out << network.base; }
};

const Network kNetworks[] = {
    {"classifier", {320, 224}, 1000, {"chelsea.ppm", "coffee.ppm", "camera.ppm"}},
    {"face/face", {384, 288}, 72 * 96, {"face/astronaut.ppm", "face/coffee.ppm"}},
};

// The same image through the engine alone: planar floats into its own tensor.
class Reference {
 public:
  explicit Reference(const std::string& base) {
    ov::Core core;
    ov::AnyMap settings = {ov::inference_num_threads(1)};
    if (!inferencePrecision.empty())
      settings["INFERENCE_PRECISION_HINT"] = std::string(inferencePrecision);
    request = core.compile_model(core.read_model(base + ".xml", base + ".bin"), "CPU", settings)
                  .create_infer_request();
  }

  std::vector<float> run(const tool::Image& image) {
    const std::unique_ptr<float[]> planar(ImageUtils::TransformImage(
        image.samples.data(), image.size.width, image.size.height, 3, ImageUtils::EFormat::U8));
    std::memcpy(request.get_input_tensor().data<float>(), planar.get(),
                image.samples.size() * sizeof(float));
    request.infer();
    const ov::Tensor output = request.get_output_tensor();
    return {output.data<const float>(), output.data<const float>() + output.get_size()};
  }

 private:
  ov::InferRequest request;
};

class Demo : public test::BackendTest, public testing::WithParamInterface<Network> {
 protected:
  // Every photo in every form gives the engine's own bytes.
  void compareAll(INNModel& model) const {
    const std::unique_ptr<INNRunner> runner(model.CreateRunner());
    ASSERT_TRUE(runner->IsReady());
    Reference reference(kDemo + "/" + GetParam().base);
    using tool::InputForm;
    for (const char* photo : GetParam().photos) {
      const tool::Image image = tool::readImage(kDemo + "/" + photo);
      ASSERT_EQ(image.size, GetParam().size);
      const std::vector<float> expected = reference.run(image);
      for (const InputForm form : {InputForm::U8Hwc, InputForm::U8Chw, InputForm::F32Hwc,
                                   InputForm::F32Chw, InputForm::InputBuffer}) {
        NNData input = tool::makeInput(image, form, *runner);
        const auto output = tool::runOnce(*runner, input, expected.size());
        EXPECT_EQ(std::memcmp(output.data(), expected.data(), output.size_bytes()), 0)
            << photo << " in form " << static_cast<int>(form);
      }
    }
  }
};

TEST_P(Demo, GivesTheEnginesOwnBytesClearAndSealed) {
  const std::string clear = kDemo + "/" + GetParam().base;
  const auto model = load(clear);
  ASSERT_TRUE(model->IsLoaded());
  EXPECT_EQ(model->GetOutputSize(), GetParam().outputs);
  compareAll(*model);

  seal(clear);
  const auto opened = load(sealed, key);
  ASSERT_TRUE(opened->IsLoaded());
  compareAll(*opened);
  auto& compilation = dynamic_cast<INNCompilation&>(*model);
  const std::string stored = folder / "stored";
  ASSERT_TRUE(compilation.StoreCompilation(stored.c_str(), key.data(), 16));
  ASSERT_TRUE(compilation.UseCompilation(stored.c_str(), key.data(), 16));
  compareAll(*model);
  EXPECT_EQ(compilation.GetRefusedCompilations(), 0);
}

INSTANTIATE_TEST_SUITE_P(Networks, Demo, testing::ValuesIn(kNetworks), [](const auto& network) {
  return std::filesystem::path(network.param.base).filename().string();
});

}  // namespace
}  // namespace OMB
