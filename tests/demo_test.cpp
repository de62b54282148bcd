// The demo's networks, and a convolution that an emulator has done in a moment, compared byte for
// byte with the engine called directly under the same settings.
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <openvino/openvino.hpp>

#include "ombrel/image/transform_image.h"
#include "ombrel/model/nn_compilation.h"

#include "backend_fixture.h"
#include "build_constants.h"
#include "image_file.h"
#include "networks.h"
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

class EnginesOwn : public test::BackendTest {
 protected:
  // Every image in every form gives the engine's own bytes for the network of the base path.
  static void compareAll(INNModel& model, const std::string& base,
                         const std::vector<tool::Image>& images) {
    const std::unique_ptr<INNRunner> runner(model.CreateRunner());
    ASSERT_TRUE(runner->IsReady());
    Reference reference(base);
    using tool::InputForm;
    for (const tool::Image& image : images) {
      const std::vector<float> expected = reference.run(image);
      for (const InputForm form : {InputForm::U8Hwc, InputForm::U8Chw, InputForm::F32Hwc,
                                   InputForm::F32Chw, InputForm::InputBuffer}) {
        NNData input = tool::makeInput(image, form, *runner);
        const auto output = tool::runOnce(*runner, input, expected.size());
        EXPECT_EQ(std::memcmp(output.data(), expected.data(), output.size_bytes()), 0)
            << "image " << &image - images.data() << " in form " << static_cast<int>(form);
      }
    }
  }

  // In the clear, sealed, and by a stored compilation.
  void compareEveryRoad(const std::string& clear, int outputs,
                        const std::vector<tool::Image>& images) const {
    const auto model = load(clear);
    ASSERT_TRUE(model->IsLoaded());
    EXPECT_EQ(model->GetOutputSize(), outputs);
    compareAll(*model, clear, images);

    seal(clear);
    const auto opened = load(sealed, key);
    ASSERT_TRUE(opened->IsLoaded());
    compareAll(*opened, clear, images);
    auto& compilation = dynamic_cast<INNCompilation&>(*model);
    const std::string stored = folder / "stored";
    ASSERT_TRUE(compilation.StoreCompilation(stored.c_str(), key.data(), 16));
    ASSERT_TRUE(compilation.UseCompilation(stored.c_str(), key.data(), 16));
    compareAll(*model, clear, images);
    EXPECT_EQ(compilation.GetRefusedCompilations(), 0);
  }
};

class Demo : public EnginesOwn, public testing::WithParamInterface<Network> {};

TEST_P(Demo, GivesTheEnginesOwnBytesClearAndSealed) {
  std::vector<tool::Image> images;
  for (const char* photo : GetParam().photos) {
    images.push_back(tool::readImage(kDemo + "/" + photo));
    ASSERT_EQ(images.back().size, GetParam().size);
  }
  compareEveryRoad(kDemo + "/" + GetParam().base, GetParam().outputs, images);
}

INSTANTIATE_TEST_SUITE_P(Networks, Demo, testing::ValuesIn(kNetworks), [](const auto& network) {
  return std::filesystem::path(network.param.base).filename().string();
});

// 16 kernels of 5x5 over 3 channels: sums of 75 products, whose bits are those of the order of
// work.
TEST_F(EnginesOwn, ConvolutionGivesTheEnginesOwnBytesClearAndSealed) {
  constexpr int kKernels = 16, kWeights = kKernels * 3 * 5 * 5;
  test::NetworkWriter network;
  const auto x = network.input("x", "1,3,12,18");
  const auto w = network.constant("16,3,5,5", "f32", 0, 4 * kWeights);
  network.output(network.add("Convolution", "y",
                             R"(strides="1,1" dilations="1,1" pads_begin="0,0" pads_end="0,0")"
                             R"( auto_pad="valid")",
                             {x, w}));
  std::minstd_rand random;
  std::string weights(4 * kWeights, '\0');
  for (std::size_t i = 0; i < weights.size(); i += 4) {
    const float weight = static_cast<float>(random() % 20001) / 10000 - 1;
    std::memcpy(&weights[i], &weight, 4);
  }
  tool::Image image{{18, 12}, std::vector<unsigned char>(3 * 18 * 12)};
  for (unsigned char& sample : image.samples) sample = static_cast<unsigned char>(random());
  compareEveryRoad(pair("convolution", network.text(), weights), kKernels * 8 * 14, {image});
}

}  // namespace
}  // namespace OMB
