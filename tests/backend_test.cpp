// The backend over the real engine: small networks worked out by hand.
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "backend/openvino_model.h"
#include "backend/openvino_runner.h"
#include "backend_fixture.h"
#include "networks.h"

extern "C" void Initialize();

namespace OMB {
namespace {

using namespace std::string_literals;

using ImageUtils::ELayoutType;
using test::counted;
using test::doublingNetwork;
using test::expectDoubles;
using test::expectThrow;
using test::kPluginList;
using test::Printed;
using test::printedBy;
using test::run;
using test::runnerOf;
using test::scalingNetwork;
using test::viewOf;

using Backend = test::BackendTest;

std::unique_ptr<INNRunner> siblingOf(INNRunner& runner) {
  return std::unique_ptr<INNRunner>(dynamic_cast<INNSiblings&>(runner).CreateSibling());
}

TEST_F(Backend, RunsInputsOfEveryRankWithBatchOne) {
  const struct {
    std::string shape, type;
    int size;  // with the batch, where there is one, made 1
  } cases[] = {{"6", "f32", 6},        {"4,3", "f32", 3},        {"2,3,4", "f32", 24},
               {"4,3,2,2", "f32", 12}, {"4,2,3,2,2", "f32", 24}, {"4,3,2,2", "u8", 12},
               {"?,3,2,2", "f32", 12}, {"6", "i32", 6}};
  for (const auto& [shape, type, size] : cases) {
    SCOPED_TRACE(shape + type);
    const auto model = load(pair("model", doublingNetwork(shape, type)));
    ASSERT_TRUE(model->IsLoaded());
    EXPECT_EQ(model->GetOutputSize(), size);
    EXPECT_EQ(model->GetDataType(), EDataType::FP32);
    EXPECT_EQ(model->GetLayout(), ELayoutType::CHW);
    expectDoubles(*runnerOf(*model), size);
  }
}

TEST_F(Backend, InputMemoryIsPlanarWhateverTheNetworkDeclares) {
  // Three pixels of two channels, interleaved inside the network: its answer comes interleaved too.
  const auto model = load(pair("nhwc", doublingNetwork("1,1,3,2", "f32", "[N,H,W,C]")));
  ASSERT_TRUE(model->IsLoaded());
  std::vector<float> planar = {1, 2, 3, 10, 20, 30};
  const NNData image(planar.data(), 2, 3, 1, ELayoutType::CHW, EDataType::FP32, true);
  EXPECT_EQ(run(*runnerOf(*model), image, 6), (std::vector<float>{2, 20, 4, 40, 6, 60}));
}

TEST_F(Backend, WorksWithTheFirstInputAndOutputByName) {
  for (const bool firstComesFirst : {false, true}) {
    test::NetworkWriter two;
    const auto b = two.input("b", "1,2"), a = two.input("a", "1,4");
    if (firstComesFirst) addTwice(two, a, "x");
    addTwice(two, b, "y");
    if (!firstComesFirst) addTwice(two, a, "x");
    const auto model = load(pair("two", two.text()));
    ASSERT_TRUE(model->IsLoaded());
    EXPECT_EQ(model->GetOutputSize(), 4);
    expectDoubles(*runnerOf(*model), 4);
  }
}

TEST_F(Backend, WeightsAreReadFromThePair) {
  const float weight = 0.5f;
  std::string bytes(sizeof(weight), '\0');
  std::memcpy(bytes.data(), &weight, sizeof(weight));
  const auto model = load(pair("scaling", scalingNetwork("1,3"), bytes));
  ASSERT_TRUE(model->IsLoaded());
  const auto runner = runnerOf(*model);
  std::vector<float> values = {2, 4, 6};
  EXPECT_EQ(run(*runner, viewOf(values), 3), (std::vector<float>{1, 2, 3}));
  EXPECT_THAT(refusal(pair("short", scalingNetwork("1,3"), "1")).error, testing::EndsWith("\n"));
}

TEST_F(Backend, MissingAndEmptyFilesFailSilently) {
  folder.write("half.xml", doublingNetwork("1,3"));
  for (const std::string& base :
       {folder / "nothing", folder / "half", pair("emptyBin", "<net/>", ""),
        pair("emptyXml", "", "w"), folder.path().string()}) {
    const Printed printed = printedBy([&] {
      const auto model = load(base);
      EXPECT_FALSE(model->IsLoaded());
      const auto runner = runnerOf(*model);
      EXPECT_FALSE(runner->IsReady());
      EXPECT_EQ(runner->Run(nullptr), nullptr);  // not even looked at
    });
    EXPECT_EQ(printed.out + printed.error, "") << base;
  }
  // An extension that is there already stays.
  pair("named.xml", doublingNetwork("1,3"));
  EXPECT_TRUE(load(folder / "named.xml")->IsLoaded());
}

TEST_F(Backend, WhatTheEngineRefusesGivesItsTextOnOneStream) {
  EXPECT_THAT(refusal(pair("garbage", "no network at all")).error, testing::EndsWith("\n"));
  EXPECT_THAT(refusal(pair("cut", doublingNetwork("1,3").substr(0, 200))).error,
              testing::EndsWith("\n"));
  EXPECT_THAT(refusal(pair("unknown", doublingNetwork("1,3,?,2"))).error,
              testing::AllOf(testing::HasSubstr("'x'"), testing::HasSubstr("?")));
  EXPECT_EQ(refusal(pair("garbage", "no network at all")).out, "");
  test::NetworkWriter closed;
  closed.output(closed.constant("1", "f32", 0, 4));
  EXPECT_EQ(refusal(pair("closed", closed.text(), "1234")).error,
            "The network has no input or no output\n");
}

TEST_F(Backend, DataPathIsAPrefix) {
  const std::string base = pair("model", doublingNetwork("1,3"));
  folder.write("prefix-plugins.xml", kPluginList);
  Config prefixed;
  prefixed.SetDataPath(folder / "prefix-");
  const auto model =
      std::make_unique<OpenVINOModel>(ModelParams{base.c_str(), nullptr, 0, prefixed});
  EXPECT_TRUE(model->IsLoaded());
  EXPECT_TRUE(runnerOf(*model)->IsReady());

  // The list has gone: a line from a load, nothing from a runner.
  std::filesystem::remove(folder.path() / "prefix-plugins.xml");
  const Printed runnerPrinted = printedBy([&] { EXPECT_FALSE(runnerOf(*model)->IsReady()); });
  EXPECT_EQ(runnerPrinted.out + runnerPrinted.error, "");
  const Printed loadPrinted = printedBy([&] {
    EXPECT_FALSE(OpenVINOModel(ModelParams{base.c_str(), nullptr, 0, prefixed}).IsLoaded());
  });
  EXPECT_THAT(loadPrinted.error, testing::EndsWith("\n"));
}

TEST_F(Backend, EveryLoadWritesTheWaitPolicy) {
  for (const char* before : {"active", ""}) {
    test::setVariable("OMP_WAIT_POLICY", before);
    load(folder / "nothing");
    EXPECT_STREQ(std::getenv("OMP_WAIT_POLICY"), "passive");
  }
  test::setVariable("OMP_WAIT_POLICY", nullptr);
  Initialize();
  EXPECT_EQ(std::getenv("OMP_WAIT_POLICY"), nullptr);
}

TEST_F(Backend, ThreadCountGoesToTheEngineAsItIs) {
  const auto base = pair("model", doublingNetwork("1,3"));
  for (const auto& [text, ready] :
       {std::pair{"-1", false}, {"0", true}, {"1", true}, {"2", true}}) {
    Config read;
    ASSERT_TRUE(
        read.Read(folder.write("c", "DataPath . ThreadCount " + std::string(text)).c_str()));
    OpenVINOModel model(ModelParams{base.c_str(), nullptr, 0, read});
    EXPECT_EQ(runnerOf(model)->IsReady(), ready) << text;
  }
}

class Running : public test::BackendTest {
 protected:
  Running() : model(load(pair("model", doublingNetwork("1,3,2,4")))), runner(runnerOf(*model)) {}

  float* input() { return static_cast<float*>(runner->GetInputBuffer()); }

  std::unique_ptr<INNModel> model;
  std::unique_ptr<INNRunner> runner;
};

TEST_F(Running, AddressesStayAndResultsAreOverwritten) {
  std::vector<float> first = counted(24);
  std::vector<float> second(24, 5.0f);
  NNData firstImage = viewOf(first);
  NNData secondImage = viewOf(second);
  float* const buffer = input();
  auto* const output = static_cast<float*>(runner->Run(&firstImage));
  EXPECT_EQ(output[23], 48.0f);
  EXPECT_EQ(runner->Run(&secondImage), output);
  EXPECT_EQ(output[23], 10.0f);
  EXPECT_EQ(input(), buffer);
}

TEST_F(Running, ConvertsFromEveryFormAndNotFromItsOwnMemory) {
  std::vector<unsigned char> bytes(24);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(100));
  NNData image(bytes.data(), 3, 4, 2, ELayoutType::HWC, EDataType::U8, true);
  ASSERT_NE(runner->Run(&image), nullptr);
  for (int c = 0; c < 3; ++c) {
    for (int i = 0; i < 8; ++i) {
      EXPECT_EQ(input()[c * 8 + i], static_cast<float>(100 + i * 3 + c) * (1.0f / 255));
    }
  }

  const std::vector<float> filled = counted(24);
  std::copy(filled.begin(), filled.end(), input());
  NNData own(input(), 1 << 20, -7, 1 << 20, ELayoutType::HWC, EDataType::U8, true);
  const auto* output = static_cast<const float*>(runner->Run(&own));
  ASSERT_NE(output, nullptr);
  for (std::size_t i = 0; i < 24; ++i) EXPECT_EQ(output[i], 2 * filled[i]);
}

TEST_F(Running, MoreThanTheInputHoldsIsRefusedAndLessIsConverted) {
  const std::vector<float> before = counted(24);
  std::copy(before.begin(), before.end(), input());
  std::vector<float> source(100, 9.0f);
  const struct {
    int channels, width, height;
  } tooLarge[] = {
      {3, 4, 3}, {1, 25, 1}, {1 << 16, 1 << 16, 1}, {1 << 30, 1 << 30, 1 << 30}, {2, 13, 1}};
  for (const auto& [channels, width, height] : tooLarge) {
    NNData image(source.data(), channels, width, height, ELayoutType::CHW, EDataType::FP32, true);
    EXPECT_EQ(runner->Run(&image), nullptr);
  }
  EXPECT_EQ(std::vector<float>(input(), input() + 24), before);

  NNData smaller(source.data(), 1, 5, 1, ELayoutType::CHW, EDataType::FP32, true);
  NNData nothing(nullptr, 1 << 20, 1 << 20, 1, ELayoutType::CHW, EDataType::FP32, true);
  NNData empty(source.data(), 3, 0, 2, ELayoutType::CHW, EDataType::FP32, true);
  for (NNData* image : {&smaller, &nothing, &empty}) {
    const auto* output = static_cast<const float*>(runner->Run(image));
    ASSERT_NE(output, nullptr);
    EXPECT_EQ(output[4], 18.0f);
    EXPECT_EQ(output[5], 12.0f);
  }
}

TEST_F(Running, RunnersOutliveTheirModelAndWorkAtTheSameTime) {
  auto other = runnerOf(*model);
  const auto third = load(pair("third", doublingNetwork("1,24")));
  model.reset();
  const auto work = [](INNRunner& mine) {
    for (int i = 0; i < 200; ++i) expectDoubles(mine, 24);
  };
  std::thread second([&] {
    work(*other);
    other.reset();
  });
  std::thread last([&] { work(*runnerOf(*third)); });
  work(*runner);
  second.join();
  last.join();
  expectDoubles(*runner, 24);
}

// Inputs of three types and outputs of two, one of which only the data settle.
std::string manyTensors() {
  test::NetworkWriter many;
  const auto image = many.input("image", "4,2,1,3", "u8", "[N,H,W,C]");
  const auto ids = many.input("ids", "5", "i64"), flags = many.input("flags", "2", "boolean");
  many.output(many.add("NonZero", "where", "output_type=\"i64\"", {ids}));
  many.output(many.add("LogicalNot", "not", "", {flags}));
  many.output(ids);  // as it is, under its own name
  addTwice(many, image, "double");
  std::string text = many.text();
  text[text.find("opset1", text.find("NonZero")) + 5] = '3';  // which is the first to have it
  return text;
}

TEST_F(Backend, TellsAndReachesEveryInputAndOutputByName) {
  using Shape = std::vector<std::size_t>;
  const auto model = load(pair("many", manyTensors()));
  ASSERT_TRUE(model->IsLoaded());
  auto& description = dynamic_cast<INNDescription&>(*model);
  for (int i = 0; i < 2; ++i) {  // also after a runner has changed the network in the engine
    const auto inputs = description.GetInputs(), outputs = description.GetOutputs();
    ASSERT_EQ(inputs.size() + outputs.size(), 7U);
    const std::tuple<NNTensorInfo, std::string, ETensorType, Shape> told[] = {
        {inputs[0], "flags", ETensorType::FP32, {2}},
        {inputs[1], "ids", ETensorType::I64, {5}},
        {inputs[2], "image", ETensorType::U8, {1, 2, 1, 3}},
        {outputs[0], "double", ETensorType::FP32, {1, 2, 1, 3}},
        {outputs[1], "ids", ETensorType::I64, {5}},
        {outputs[2], "not", ETensorType::BOOLEAN, {2}},
        {outputs[3], "where", ETensorType::I64, {1, 0}}};
    for (const auto& [info, name, type, shape] : told) {
      EXPECT_EQ(info.name, name);
      EXPECT_EQ(info.type, type) << name;
      EXPECT_EQ(info.shape, shape) << name;
    }
    runnerOf(*model);
  }

  const auto runner = runnerOf(*model);
  auto& tensors = dynamic_cast<INNTensors&>(*runner);
  for (const char* name : {"double", "", "IMAGE"}) {
    EXPECT_EQ(tensors.GetInput(name).data, nullptr) << name;
  }
  EXPECT_EQ(tensors.GetOutput("image").data, nullptr);
  EXPECT_EQ(tensors.GetInput("flags").data, runner->GetInputBuffer());
  EXPECT_EQ(tensors.GetInput("ids").bytes, 40U);
  std::vector<float> flags = {1, 0};
  for (const std::vector<std::int64_t>& ids :
       {std::vector<std::int64_t>{0, 7, 0, 7, 7}, {1, 0, 0, 0, 0}}) {
    std::memcpy(tensors.GetInput("ids").data, ids.data(), 40);
    NNData image = viewOf(flags);
    EXPECT_EQ(runner->Run(&image), tensors.GetOutput("double").data);
    const NNTensor where = tensors.GetOutput("where"), no = tensors.GetOutput("not");
    const auto count = static_cast<std::size_t>(5 - std::count(ids.begin(), ids.end(), 0));
    EXPECT_EQ(where.shape, (Shape{1, count}));
    EXPECT_EQ(where.bytes, 8 * count);
    EXPECT_EQ(static_cast<std::int64_t*>(where.data)[count - 1], count == 1 ? 0 : 4);
    EXPECT_EQ(static_cast<unsigned char*>(no.data)[1], 1);
    EXPECT_EQ(std::memcmp(tensors.GetOutput("ids").data, ids.data(), 40), 0);
  }
}

TEST_F(Backend, WhatIsNotLoadedHasNoTensorsAndNoReadySibling) {
  const auto model = load(folder / "nothing");
  const auto runner = runnerOf(*model);
  EXPECT_TRUE(dynamic_cast<INNDescription&>(*model).GetInputs().empty());
  EXPECT_TRUE(dynamic_cast<INNDescription&>(*model).GetOutputs().empty());
  EXPECT_EQ(dynamic_cast<INNTensors&>(*runner).GetInput("x").data, nullptr);
  EXPECT_EQ(dynamic_cast<INNTensors&>(*runner).GetOutput("x").data, nullptr);
  EXPECT_FALSE(siblingOf(*runner)->IsReady());
}

TEST_F(Running, SiblingsHaveTheirOwnMemoryAndOutliveTheFirst) {
  auto one = siblingOf(*runner), other = siblingOf(*one);
  ASSERT_TRUE(one->IsReady() && other->IsReady());
  EXPECT_NE(one->GetInputBuffer(), other->GetInputBuffer());
  model.reset();
  runner.reset();
  std::vector<float> kept = counted(24);
  NNData image = viewOf(kept);
  const auto* output = static_cast<const float*>(one->Run(&image));
  std::thread second([&] {
    for (int i = 0; i < 200; ++i) {
      expectDoubles(*other, 24);
      EXPECT_TRUE(siblingOf(*other)->IsReady());
    }
  });
  for (int i = 0; i < 200; ++i) expectDoubles(*siblingOf(*one), 24);
  second.join();
  EXPECT_EQ(output[23], 48.0F);
}

TEST(InputInfo, WithoutDataRaises) {
  using InferenceEngine::GeneralError;
  InferenceEngine::InputInfo info;
  expectThrow<GeneralError>([&] { (void)info.getTensorDesc(); }, "Data is empty!");
  expectThrow<GeneralError>([&] { info.setLayout({}); }, "Data is empty!");
  expectThrow<GeneralError>([&] { info.setPrecision({}); }, "Data is empty!");
}

}  // namespace
}  // namespace OMB
