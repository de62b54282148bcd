// The engine layer over the real engine: what it adds to it, refuses, or sees where it does not.
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "backend_fixture.h"
#include "engine/inference_engine.h"
#include "fixture_files.h"
#include "networks.h"

namespace OMB {
namespace {

namespace IE = InferenceEngine;

using test::doublingNetwork;
using test::NetworkWriter;
using test::runnerOf;
using test::viewOf;

class Engine : public test::BackendTest {
 protected:
  IE::CNNNetwork read(const std::string& text, ByteVector weights = ByteVector(1)) const {
    const IE::TensorDesc desc(IE::Precision::U8, {weights.size()}, IE::Layout::C);
    const auto blob = IE::make_shared_blob<unsigned char>(desc, std::move(weights));
    blob->allocate();
    return IE::Core(folder / "plugins.xml").ReadNetwork(text, blob);
  }
  std::unique_ptr<INNModel> loadWithThreads(const std::string& base, int threads) const {
    Config counting = config();
    counting.SetThreadCount(threads);
    return std::unique_ptr<INNModel>(Create({base.c_str(), nullptr, 0, counting}));
  }
};

struct Input {
  std::string shape, layout;
  IE::SizeVector dims;  // after the batch was set to 1
};

TEST_F(Engine, BatchIsWhatTheLayoutDeclaresElseWhatAgreesWithTheImages) {
  const std::vector<std::vector<Input>> networks = {
      {{"5,2", "[H,W]", {5, 2}}},
      {{"3,2,2,4", "[C,H,W,N]", {3, 2, 2, 1}}},
      {{"4,3,2,2", "[N,C,H,W]", {1, 3, 2, 2}}},
      {{"4,3,2", "[N,C,W]", {1, 3, 2}}},
      {{"4,3,2,2", "[?,C,...]", {4, 3, 2, 2}}},
      {{"3,2,2,4", "[...,N]", {3, 2, 2, 1}}},
      {{"4,3,2,2", "[batch,channels,height,width]", {1, 3, 2, 2}}},
      {{"1,3,8,8", "", {1, 3, 8, 8}}, {"5,2", "", {5, 2}}},
      {{"4,3,8,8", "", {1, 3, 8, 8}}, {"4,2", "", {1, 2}}},
      {{"5,2", "", {5, 2}}, {"1,3,8,8", "", {1, 3, 8, 8}}},  // the image is not the first by name
      {{"4,3,8,8", "", {1, 3, 8, 8}}, {"?,2", "", {1, 2}}},
      {{"?,3,8,8", "", {1, 3, 8, 8}}, {"5,2", "", {5, 2}}},
      {{"2,8,8,3", "[N,H,W,C]", {1, 8, 8, 3}}, {"7,3,8,8", "", {7, 3, 8, 8}}},
      {{"2,8,8,3", "[N,H,W,C]", {1, 8, 8, 3}}, {"7,2", "[N,C]", {1, 2}}},
      {{"6", "", {6}}, {"4,2", "", {1, 2}}},
      {{"2..8,3,8,8", "", {1, 3, 8, 8}}},
  };
  for (const std::vector<Input>& inputs : networks) {
    NetworkWriter network;
    std::string trace;
    for (const Input& input : inputs) {
      const std::string name(1, static_cast<char>('a' + (&input - inputs.data())));
      addTwice(network, network.input(name, input.shape, "f32", input.layout), "twice " + name);
      trace += input.shape + input.layout + " ";
    }
    SCOPED_TRACE(trace);
    IE::CNNNetwork made = read(network.text());
    made.setBatchSize(1);
    std::size_t i = 0;
    for (const auto& [name, input] : made.getInputsInfo()) {
      EXPECT_EQ(input->getTensorDesc().getDims(), inputs[i++].dims) << name;
    }
    i = 0;
    for (const auto& [name, output] : made.getOutputsInfo()) {
      EXPECT_EQ(output->getDims(), inputs[i++].dims) << name;
    }
  }
}

TEST_F(Engine, UnknownDimensionsAreToldAsTheyAre) {
  for (const auto& [shape, told] : {std::pair{"1,3,?,2", "[1,3,?,2]"},
                                    {"1,2..5,..7,3..", "[1,2..5,..7,3..]"},
                                    {"2,?,4", "[2,?,4]"},
                                    {"...", "[...]"}}) {
    EXPECT_EQ(refusal(pair("unknown", doublingNetwork(shape))).error,
              "Input 'x' has a dimension that is not known: " + std::string(told) + "\n");
  }
}

TEST_F(Engine, OutputsOfOneLayerAreToldApartByTheirPosition) {
  // Split gives the halves at ports 2 and 3, and the results come in the other order.
  const std::string port = " precision=\"FP32\"/>";
  const std::string text =
      "<net name=\"split\" version=\"11\"><layers>"
      "<layer id=\"0\" name=\"x\" type=\"Parameter\" version=\"opset1\"><data shape=\"1,4\""
      " element_type=\"f32\"/><output><port id=\"0\"" +
      port +
      "</output></layer>"
      "<layer id=\"1\" name=\"axis\" type=\"Const\" version=\"opset1\"><data element_type=\"i64\""
      " shape=\"\" offset=\"0\" size=\"8\"/><output><port id=\"0\"" +
      port +
      "</output></layer>"
      "<layer id=\"2\" name=\"split\" type=\"Split\" version=\"opset1\"><data num_splits=\"2\"/>"
      "<input><port id=\"0\"/><port id=\"1\"/></input>"
      "<output><port id=\"2\"" +
      port + "<port id=\"3\"" + port +
      "</output></layer>"
      "<layer id=\"3\" name=\"b\" type=\"Result\" version=\"opset1\">"
      "<input><port id=\"0\"/></input></layer>"
      "<layer id=\"4\" name=\"a\" type=\"Result\" version=\"opset1\">"
      "<input><port id=\"0\"/></input></layer></layers><edges>"
      "<edge from-layer=\"0\" from-port=\"0\" to-layer=\"2\" to-port=\"0\"/>"
      "<edge from-layer=\"1\" from-port=\"0\" to-layer=\"2\" to-port=\"1\"/>"
      "<edge from-layer=\"2\" from-port=\"3\" to-layer=\"3\" to-port=\"0\"/>"
      "<edge from-layer=\"2\" from-port=\"2\" to-layer=\"4\" to-port=\"0\"/></edges></net>";
  const auto model = load(pair("split", text, std::string("\1\0\0\0\0\0\0\0", 8)));
  ASSERT_TRUE(model->IsLoaded());
  EXPECT_EQ(model->GetOutputSize(), 2);
  std::vector<float> values = {1, 2, 3, 4};
  EXPECT_EQ(test::run(*runnerOf(*model), viewOf(values), 2), (std::vector<float>{1, 2}));
}

TEST_F(Engine, OnlyOrdersOfTheFourDimensionsOfAnImageAreConverted) {
  std::vector<float> values = test::counted(12);
  for (const char* layout : {"[N,T,C,V]", "[N,...]", "[?,?,?,?]", "[N,C,H,W]", ""}) {
    const auto model = load(pair("model", doublingNetwork("1,2,3,2", "f32", layout)));
    SCOPED_TRACE(layout);
    ASSERT_TRUE(model->IsLoaded());
    test::expectDoubles(*runnerOf(*model), 12);
  }
  const auto model = load(pair("model", doublingNetwork("1,3,2,2", "f32", "[N,W,C,H]")));
  const std::vector<float> output = test::run(*runnerOf(*model), viewOf(values), 12);
  // Sample (c, h, w) stands at c * 6 + h * 3 + w in memory and at w * 4 + c * 2 + h inside.
  for (int c = 0; c < 2; ++c) {
    for (int h = 0; h < 2; ++h) {
      for (int w = 0; w < 3; ++w) {
        EXPECT_EQ(output[static_cast<std::size_t>(w * 4 + c * 2 + h)],
                  2 * values[static_cast<std::size_t>(c * 6 + h * 3 + w)]);
      }
    }
  }
}

TEST_F(Engine, RunnersMadeAtTheSameTimeShareOnePreparedNetwork) {
  const auto model = load(pair("nhwc", doublingNetwork("1,1,3,2", "u8", "[N,H,W,C]")));
  for (int i = 0; i < 3; ++i) {
    std::vector<float> planar = {1, 2, 3, 10, 20, 30};
    EXPECT_EQ(test::run(*runnerOf(*model), viewOf(planar), 6),
              (std::vector<float>{2, 20, 4, 40, 6, 60}));
  }
}

TEST_F(Engine, RefusesOnOneLine) {
  const std::string whole = doublingNetwork("1,3");
  std::string unknown = whole;
  unknown.replace(unknown.find("\"Add\""), 5, "\"Odd\"");
  NetworkWriter odd;
  addTwice(odd, odd.input("a&#10;b&#27;[31m", "1,?,3"), "y");
  for (const std::string& text :
       {whole.substr(0, 200), unknown, std::string("<net"), odd.text(), std::string("<net/>")}) {
    const std::string error = refusal(pair("refused", text)).error;
    EXPECT_EQ(error.find_first_of("\n\r\t\x1b"), error.size() - 1) << error;
    EXPECT_THAT(error, testing::AllOf(testing::SizeIs(testing::Gt(1u)),
                                      testing::Not(testing::EndsWith(" \n"))));
  }
  EXPECT_THAT(refusal(pair("refused", unknown)).error,
              testing::AllOf(testing::HasSubstr("Exception from "), testing::HasSubstr("Odd")));
  EXPECT_THAT(refusal(pair("refused", odd.text())).error, testing::HasSubstr("'a b [31m'"));
}

// Reshapes six numbers to what the two numbers of the input say.
std::string reshapingNetwork(bool summed) {
  NetworkWriter network;
  const auto x = network.input("x", "2"), six = network.constant("6", "f32", 0, 24);
  const auto to = network.add("Convert", "to", "destination_type=\"i64\"", {x});
  auto y = network.add("Reshape", "shaped", "special_zero=\"false\"", {six, to});
  if (summed) {
    const auto axes = network.constant("2", "i64", 24, 16);
    y = network.add("ReduceSum", "sum", "keep_dims=\"false\"", {y, axes});
  }
  network.output(y);
  return network.text();
}

TEST_F(Engine, FailuresThatDependOnTheDataAreSeenWithAnyNumberOfThreads) {
  std::string weights;
  for (const float value : {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f}) {
    weights.append(reinterpret_cast<const char*>(&value), sizeof(value));
  }
  weights += std::string(8, '\0') + std::string("\1\0\0\0\0\0\0\0", 8);
  for (const bool summed : {false, true}) {
    const std::string base = pair("reshaping", reshapingNetwork(summed), weights);
    for (const int threads : {1, 2, 0}) {
      SCOPED_TRACE(threads);
      const auto model = loadWithThreads(base, threads);
      ASSERT_TRUE(model->IsLoaded());
      const auto runner = runnerOf(*model);
      ASSERT_TRUE(runner->IsReady());
      std::vector<float> bad = {4, 4}, good = {2, 3};
      const float last = summed ? 21 : 6;
      const int count = summed ? 1 : 6;
      for (int i = 0; i < 2; ++i) {
        NNData wrong = viewOf(bad);
        EXPECT_THROW((void)runner->Run(&wrong), IE::GeneralError);
        EXPECT_EQ(test::run(*runner, viewOf(good), count).back(), last);
      }
    }
  }
}

// A sanitizer opens libraries in its own name, and so misses those beside the runtime.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kLoaderIsHidden = true;
#else
constexpr bool kLoaderIsHidden = false;
#endif

class Planted : public Engine {
 protected:
  Planted() { test::setVariable("OMBREL_TEST_TRAP", trace.c_str()); }
  ~Planted() override { test::setVariable("OMBREL_TEST_TRAP", nullptr); }

  void plant(const std::filesystem::path& file) const {
    std::filesystem::create_directories(file.parent_path());
    std::filesystem::copy_file(OMBREL_FIXTURES "/libtrap" SUFFIX, file,
                               std::filesystem::copy_options::overwrite_existing);
  }
  void list(const std::string& device, const std::string& location) const {
    folder.write("plugins.xml", "<ie><plugins><plugin name=\"" + device + "\" location=\"" +
                                    location + "\"/></plugins></ie>");
  }

  const std::string trace = folder / "trace";
  const std::string base = pair("model", doublingNetwork("1,3"));
  const std::string cpuPlugin = ENGINE_PREFIX OMBREL_CPU_PLUGIN SUFFIX;
  const std::string batchPlugin = ENGINE_PREFIX "openvino_auto_batch_plugin" SUFFIX;
};

TEST_F(Planted, LibrariesOfTheListAreNotOpened) {
  const std::string locations[] = {"libnowhere" SUFFIX,
                                   "libtrap" SUFFIX,
                                   "trap",
                                   "sub/libtrap" SUFFIX,
                                   "./libtrap" SUFFIX,
                                   "..\\libtrap" SUFFIX,
                                   ".",
                                   "..",
                                   "",
                                   folder / "libtrap" SUFFIX,
                                   cpuPlugin,
                                   batchPlugin};
  for (const char* file : {"libtrap" SUFFIX, "sub/libtrap" SUFFIX}) plant(folder.path() / file);
  plant(folder.path() / cpuPlugin);
  plant(folder.path() / batchPlugin);
  folder.write("plugins.xml", test::kPluginList);
  const auto model = load(base);
  for (const char* device : {"BATCH", "CPU", "OTHER"}) {
    for (const std::string& location : locations) {
      list(device, location);
      EXPECT_EQ(refusal(base).error, "The plug-in list gives the device '" + std::string(device) +
                                         "' the library '" + location +
                                         "', which is not one of the engine's runtime\n");
      EXPECT_FALSE(runnerOf(*model)->IsReady());
    }
  }
  EXPECT_FALSE(std::filesystem::exists(trace));
}

TEST_F(Planted, LibrariesOfTheRuntimeMayBeListed) {
  for (const auto& [device, library] : {std::pair{"CPU", cpuPlugin}, {"BATCH", batchPlugin}}) {
    list(device, library);
    // Wine has no links of its own, and takes one file on two drives for two.
    for (const bool beside : {false, !test::kOnWindows}) {
      if (!beside && kLoaderIsHidden) continue;
      if (beside) {
        std::filesystem::create_symlink(OMBREL_ENGINE_LIBRARIES "/" + library,
                                        folder.path() / library);
      }
      const auto model = load(base);
      ASSERT_TRUE(model->IsLoaded());
      test::expectDoubles(*runnerOf(*model), 3);
    }
  }
}

TEST_F(Planted, PluginOfTheCpuComesFromBesideTheRuntime) {
  const std::filesystem::path before = std::filesystem::current_path(),
                              here = folder.path() / "cwd";
  for (const std::string& folderOfAny : {std::string("cwd/"), std::string()}) {
    for (const char* name : {ENGINE_PREFIX OMBREL_CPU_PLUGIN SUFFIX, OMBREL_CPU_PLUGIN,
                             "libMKLDNNPlugin" SUFFIX, "MKLDNNPlugin", "libCPU" SUFFIX, "CPU"}) {
      plant(folder.path() / (folderOfAny + name));
    }
  }
  std::filesystem::current_path(here);
  const auto model = load(base);
  const auto runner = runnerOf(*model);
  std::filesystem::current_path(before);
  test::expectDoubles(*runner, 3);
  EXPECT_FALSE(std::filesystem::exists(trace));
  IE::Core core(folder / "plugins.xml");
  EXPECT_THROW(core.RegisterPlugin("libtrap" SUFFIX, "OTHER"), IE::GeneralError);
  core.RegisterPlugin("MKLDNNPlugin", "MINE");
  EXPECT_THROW(core.RegisterPlugin("MKLDNNPlugin", "MINE"), IE::GeneralError);
}

}  // namespace
}  // namespace OMB
