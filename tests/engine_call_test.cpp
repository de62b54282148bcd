// The engine layer over a script in the place of the engine's C interface: any use of any call can
// fail, with each status, with and without a text.
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <openvino/c/openvino.h>

#include "engine/inference_engine.h"
#include "failing_allocations.h"
#include "networks.h"

namespace {

/// A network of an input of bytes and an output of another type.
struct EngineScript {
  std::string failing = {};  ///< a call and which use of it, as in "ov_tensor_data 2"
  ov_status_e status = OK;
  const char* text = nullptr;  ///< the engine's own; null where it has none
  bool dynamic = false;
  std::size_t inputs = 1, outputs = 1;

  std::map<std::string, int> uses = {};
  std::string compiledFor = {}, settings = {}, importSettings = {};
  std::vector<std::int64_t> reshaped = {};
  ov_element_type_e inputType = U8, outputType = F16;
  bool planar = false;  ///< the layout that was made last
  std::weak_ptr<const void> weights = {};
  bool weightsEndedFirst = false;
};
EngineScript engine;
long liveObjects = 0;

constexpr char kNoText[] = "what the status says";
float memory[12];

ov_status_e answer(const std::string& call) {
  const OMB::test::Spared spared;
  const bool fails = call + " " + std::to_string(++engine.uses[call]) == engine.failing;
  return fails ? engine.status : OK;
}

template <typename Object>
ov_status_e make(const char* call, Object** made) {
  const ov_status_e status = answer(call);
  if (status != OK) return status;
  const OMB::test::Spared spared;
  *made = reinterpret_cast<Object*>(new int);
  ++liveObjects;
  return OK;
}

void end(void* object) {
  if (object == nullptr) return;
  delete static_cast<int*>(object);
  --liveObjects;
}

void endUserOfWeights(void* object) {
  if (object != nullptr) engine.weightsEndedFirst |= engine.weights.expired();
  end(object);
}

}  // namespace

#define MAKES(call, Object, ...)                 \
  ov_status_e call(__VA_ARGS__, Object** made) { \
    return make(#call, made);                    \
  }
#define ANSWERS(call, ...)        \
  ov_status_e call(__VA_ARGS__) { \
    return answer(#call);         \
  }
#define ENDS(call, Object)    \
  void call(Object* object) { \
    end(object);              \
  }

MAKES(ov_core_create_with_config, ov_core_t, const char*)
MAKES(ov_core_read_model_from_memory_buffer, ov_model_t, const ov_core_t*, const char*, size_t,
      const ov_tensor_t*)
MAKES(ov_tensor_create_from_host_ptr, ov_tensor_t, ov_element_type_e, ov_shape_t, void*)
MAKES(ov_model_const_input_by_index, ov_output_const_port_t, const ov_model_t*, size_t)
MAKES(ov_model_const_output_by_index, ov_output_const_port_t, const ov_model_t*, size_t)
MAKES(ov_compiled_model_input_by_index, ov_output_const_port_t, const ov_compiled_model_t*, size_t)
MAKES(ov_compiled_model_output_by_index, ov_output_const_port_t, const ov_compiled_model_t*, size_t)
MAKES(ov_compiled_model_create_infer_request, ov_infer_request_t, const ov_compiled_model_t*)
MAKES(ov_infer_request_get_tensor_by_const_port, ov_tensor_t, const ov_infer_request_t*,
      const ov_output_const_port_t*)
MAKES(ov_preprocess_prepostprocessor_create, ov_preprocess_prepostprocessor_t, const ov_model_t*)
MAKES(ov_preprocess_prepostprocessor_get_input_info_by_index, ov_preprocess_input_info_t,
      const ov_preprocess_prepostprocessor_t*, size_t)
MAKES(ov_preprocess_input_info_get_tensor_info, ov_preprocess_input_tensor_info_t,
      const ov_preprocess_input_info_t*)
MAKES(ov_preprocess_prepostprocessor_get_output_info_by_index, ov_preprocess_output_info_t,
      const ov_preprocess_prepostprocessor_t*, size_t)
MAKES(ov_preprocess_output_info_get_tensor_info, ov_preprocess_output_tensor_info_t,
      const ov_preprocess_output_info_t*)
MAKES(ov_preprocess_prepostprocessor_build, ov_model_t, const ov_preprocess_prepostprocessor_t*)
ANSWERS(ov_preprocess_input_tensor_info_set_layout, ov_preprocess_input_tensor_info_t*,
        ov_layout_t*)
MAKES(ov_core_import_model, ov_compiled_model_t, const ov_core_t*, const char*, size_t, const char*)
ANSWERS(ov_compiled_model_export_model, const ov_compiled_model_t*, const char*)
ANSWERS(ov_infer_request_infer, ov_infer_request_t*)
ANSWERS(ov_infer_request_start_async, ov_infer_request_t*)
ANSWERS(ov_infer_request_wait, ov_infer_request_t*)
ENDS(ov_core_free, ov_core_t)
ENDS(ov_tensor_free, ov_tensor_t)
ENDS(ov_output_const_port_free, ov_output_const_port_t)
ENDS(ov_layout_free, ov_layout_t)
ENDS(ov_preprocess_prepostprocessor_free, ov_preprocess_prepostprocessor_t)
ENDS(ov_preprocess_input_info_free, ov_preprocess_input_info_t)
ENDS(ov_preprocess_input_tensor_info_free, ov_preprocess_input_tensor_info_t)
ENDS(ov_preprocess_output_info_free, ov_preprocess_output_info_t)
ENDS(ov_preprocess_output_tensor_info_free, ov_preprocess_output_tensor_info_t)
void ov_model_free(ov_model_t* object) {
  endUserOfWeights(object);
}
void ov_compiled_model_free(ov_compiled_model_t* object) {
  endUserOfWeights(object);
}
void ov_infer_request_free(ov_infer_request_t* object) {
  endUserOfWeights(object);
}

// As the engine gives texts away.
const char* given(const char* text) {
  const OMB::test::Spared spared;
  ++liveObjects;
  return std::strcpy(new char[std::strlen(text) + 1], text);
}
const char* ov_get_last_err_msg() {
  return engine.text == nullptr ? nullptr : given(engine.text);
}
ov_status_e ov_layout_create(const char* text, ov_layout_t** made) {
  engine.planar = std::strcmp(text, "NCHW") == 0;
  return make("ov_layout_create", made);
}
const char* ov_layout_to_string(const ov_layout_t*) {
  return given(engine.planar ? "[N,C,H,W]" : "[N,H,W,C]");
}
void ov_free(const char* text) {
  liveObjects -= text != nullptr;
  delete[] text;
}
const char* ov_get_error_info(ov_status_e) {
  return kNoText;
}

ov_status_e ov_model_inputs_size(const ov_model_t*, size_t* size) {
  *size = engine.inputs;
  return answer("ov_model_inputs_size");
}
ov_status_e ov_model_outputs_size(const ov_model_t*, size_t* size) {
  *size = engine.outputs;
  return answer("ov_model_outputs_size");
}
bool ov_model_is_dynamic(const ov_model_t*) {
  return engine.dynamic;
}
ov_status_e ov_model_reshape_by_port_indexes(const ov_model_t*, const size_t*,
                                             const ov_partial_shape_t* shapes, size_t) {
  const OMB::test::Spared spared;
  engine.reshaped.clear();
  for (int i = 0; i < shapes->rank.min; ++i) engine.reshaped.push_back(shapes->dims[i].max);
  return answer("ov_model_reshape_by_port_indexes");
}
ov_status_e ov_port_get_partial_shape(const ov_output_const_port_t*, ov_partial_shape_t* shape) {
  const ov_status_e status = answer("ov_port_get_partial_shape");
  if (status != OK) return status;
  const OMB::test::Spared spared;
  ++liveObjects;
  *shape = {{4, 4}, new ov_dimension_t[4]{{4, 4}, {1, 1}, {2, 2}, {3, 3}}};
  return OK;
}
void ov_partial_shape_free(ov_partial_shape_t* shape) {
  liveObjects -= shape->dims != nullptr;
  delete[] shape->dims;
}
ov_status_e ov_port_get_element_type(const ov_output_const_port_t*, ov_element_type_e* type) {
  // Inputs are asked for first, in each of the two rounds.
  const ov_status_e status = answer("ov_port_get_element_type");
  *type = engine.uses["ov_port_get_element_type"] % 2 == 1 ? engine.inputType : engine.outputType;
  return status;
}
ov_status_e ov_preprocess_input_tensor_info_set_element_type(ov_preprocess_input_tensor_info_t*,
                                                             ov_element_type_e type) {
  engine.inputType = type;
  return answer("ov_preprocess_input_tensor_info_set_element_type");
}
ov_status_e ov_preprocess_output_set_element_type(ov_preprocess_output_tensor_info_t*,
                                                  ov_element_type_e type) {
  engine.outputType = type;
  return answer("ov_preprocess_output_set_element_type");
}
void note(std::string& settings, size_t count, const ov_property_t* properties) {
  settings.clear();
  for (size_t i = 0; i < count; ++i) {
    settings +=
        std::string(properties[i].key) + "=" + static_cast<const char*>(properties[i].value) + " ";
  }
}
ov_status_e ov_core_compile_model_props(const ov_core_t*, const ov_model_t*, const char* device,
                                        size_t count, const ov_property_t* properties,
                                        ov_compiled_model_t** made) {
  const OMB::test::Spared spared;
  engine.compiledFor = device;
  note(engine.settings, count, properties);
  return make("ov_core_compile_model_props", made);
}
ov_status_e ov_core_set_properties(const ov_core_t*, const char* device, size_t count,
                                   const ov_property_t* properties) {
  const OMB::test::Spared spared;
  note(engine.importSettings, count, properties);
  engine.importSettings += device;
  return answer("ov_core_set_properties");
}
ov_status_e ov_core_get_property(const ov_core_t*, const char*, const char* key, char** value) {
  const ov_status_e status = answer("ov_core_get_property");
  if (status == OK) *value = const_cast<char*>(given(key));
  return status;
}
ov_status_e ov_get_openvino_version(ov_version_t* version) {
  const ov_status_e status = answer("ov_get_openvino_version");
  if (status == OK) version->buildNumber = given("build");
  return status;
}
void ov_version_free(ov_version_t* version) {
  ov_free(version->buildNumber);
}
ov_status_e ov_tensor_data(const ov_tensor_t*, void** data) {
  *data = memory;
  return answer("ov_tensor_data");
}
ov_status_e ov_tensor_get_byte_size(const ov_tensor_t*, size_t* size) {
  *size = sizeof(memory);
  return answer("ov_tensor_get_byte_size");
}
ov_status_e ov_tensor_get_element_type(const ov_tensor_t*, ov_element_type_e* type) {
  *type = I64;
  return answer("ov_tensor_get_element_type");
}
ov_status_e ov_tensor_get_shape(const ov_tensor_t*, ov_shape_t* shape) {
  const ov_status_e status = answer("ov_tensor_get_shape");
  if (status != OK) return status;
  const OMB::test::Spared spared;
  ++liveObjects;
  *shape = {2, new std::int64_t[2]{3, 4}};
  return OK;
}
ov_status_e ov_shape_free(ov_shape_t* shape) {
  liveObjects -= shape->dims != nullptr;
  delete[] shape->dims;
  return OK;
}

namespace OMB {
namespace {

namespace IE = InferenceEngine;

const std::string kText = test::doublingNetwork("4,1,2,3", "u8", "[N,H,W,C]");

IE::CNNNetwork readAndSet(IE::Core& core) {
  const auto blob = IE::make_shared_blob<unsigned char>(
      IE::TensorDesc(IE::Precision::U8, {4}, IE::Layout::C), ByteVector(4));
  blob->allocate();
  engine.weights = blob->getOwner();
  IE::CNNNetwork network = core.ReadNetwork(kText, blob);
  network.setBatchSize(1);
  IE::InputInfo& input = *network.getInputsInfo().at("x");
  input.setPrecision(IE::Precision::FP32);
  input.setLayout(IE::Layout::NCHW);
  network.getOutputsInfo().at("y")->setPrecision(IE::Precision::FP32);
  return network;
}

IE::InferRequest requestOf(IE::Core& core, const IE::CNNNetwork& network) {
  const std::map<std::string, std::string> config = {{"CPU_THREADS_NUM", "3"}};
  core.RegisterPlugin("MKLDNNPlugin", "THE_DEVICE");
  const IE::ExecutableNetwork loaded = core.LoadNetwork(network, "THE_DEVICE", config);
  loaded.Export("a file");
  const std::string description = core.Describe("THE_DEVICE", config);
  EXPECT_EQ(description.find("build\nFULL_DEVICE_NAME\nOPTIMIZATION_CAPABILITIES\nINFERENCE_"), 0U);
  const auto exported = std::make_shared<IE::Blob>(memory, sizeof(memory), nullptr);
  core.ImportNetwork(network, exported, "THE_DEVICE", config).CreateInferRequest().Infer();
  return loaded.CreateInferRequest();
}

/// All that the backend does, from the list to the output. The request outlives all others.
void road() {
  IE::InferRequest request = [] {
    IE::Core core("a list that is not there");
    const IE::CNNNetwork network = readAndSet(core);
    EXPECT_EQ(network.getInputDims("x"), (IE::SizeVector{4, 3, 1, 2}));
    return requestOf(core, network);
  }();
  ASSERT_EQ(request.GetBlob("x")->byteSize(), sizeof(memory));
  request.Infer();
  ASSERT_EQ(request.GetBlob("y")->rmap().as<const void*>(), memory);
  EXPECT_FALSE(request.FindOutput("x") || request.FindInput("y") || request.FindInput("z"));
  const IE::Memory output = request.FindOutput("y").value();
  EXPECT_EQ(output.blob->byteSize(), sizeof(memory));
  EXPECT_EQ(output.desc.getPrecision(), IE::Precision::I64);
  EXPECT_EQ(output.desc.getDims(), (IE::SizeVector{3, 4}));
}

class EngineCall : public testing::Test {
 protected:
  EngineCall() { engine = {}; }
  ~EngineCall() override {
    EXPECT_EQ(liveObjects, 0);
    EXPECT_FALSE(engine.weightsEndedFirst);
  }

  /// Every use of every call on the road, as the script names them.
  static std::vector<std::string> allUses(bool dynamic) {
    engine = {.dynamic = dynamic};
    road();
    std::vector<std::string> result;
    for (const auto& [call, count] : engine.uses) {
      for (int use = 1; use <= count; ++use) result.push_back(call + " " + std::to_string(use));
    }
    return result;
  }
};

TEST_F(EngineCall, PassesWhatWasSet) {
  road();
  EXPECT_EQ(engine.compiledFor, "CPU");
  EXPECT_THAT(engine.settings, testing::HasSubstr("INFERENCE_NUM_THREADS=3 "));
  EXPECT_EQ(engine.importSettings, engine.settings + "CPU");
  EXPECT_EQ(engine.reshaped, (std::vector<std::int64_t>{1, 1, 2, 3}));
  EXPECT_EQ(engine.inputType, F32);
  EXPECT_EQ(engine.outputType, F32);
  EXPECT_EQ(engine.uses["ov_preprocess_input_tensor_info_set_layout"], 1);
  EXPECT_EQ(engine.uses["ov_infer_request_infer"], 2);
}

TEST_F(EngineCall, ThatFailsRaisesWhatTheEngineSays) {
  const struct {
    const char* text;
    std::string told;  // empty for std::bad_alloc
  } cases[] = {{"one line", "one line"},
               {"\n  two\r\n\tlines \n\n", "two lines"},
               {nullptr, kNoText},
               {" \n", kNoText},
               {"Exception from here:\nstd::bad_alloc\n\n", ""}};
  int failed = 0;
  for (const bool dynamic : {false, true}) {
    for (const std::string& use : allUses(dynamic)) {
      for (const auto& [text, told] : cases) {
        for (int status = GENERAL_ERROR; status >= UNKNOW_EXCEPTION; --status) {
          engine = {.failing = use,
                    .status = static_cast<ov_status_e>(status),
                    .text = text,
                    .dynamic = dynamic};
          std::string raised;
          try {
            road();
            raised = "nothing";
          } catch (const IE::GeneralError& failure) {
            raised = failure.what();
          } catch (const std::bad_alloc&) {
          }
          ASSERT_EQ(raised, told) << use << " with " << status;
          ASSERT_EQ(liveObjects, 0) << use;
          ASSERT_FALSE(engine.weightsEndedFirst) << use;
          ++failed;
        }
      }
    }
  }
  EXPECT_GT(failed, 2 * 5 * 17 * 35);
}

TEST_F(EngineCall, ThatRunsOutOfMemoryLeavesNothing) {
#if defined(_WIN32)
  GTEST_SKIP() << "a lock keeps memory from its first use on, there";
#endif
  const auto nothing = [] { EXPECT_EQ(liveObjects, 0); };
  EXPECT_GT(test::failEachAllocation(road, nothing), 50);
  test::secret = "auto_broadcast";
  road();
  test::secret = {};
  EXPECT_EQ(test::toldSecrets, 0);
}

TEST_F(EngineCall, ThatCountsOtherwiseThanTheTextIsNotBelieved) {
  for (const bool inputs : {false, true}) {
    engine = {};
    (inputs ? engine.inputs : engine.outputs) = 2;
    EXPECT_THROW(road(), IE::GeneralError);
    EXPECT_EQ(engine.uses["ov_core_compile_model_props"], 0);
  }
}

TEST_F(EngineCall, AppliesOnceWhatWasSetAndNotAgainAfterAFailureOnTheWay) {
  IE::Core core("a list that is not there"), other("a list that is not there");
  const IE::CNNNetwork network = readAndSet(core);
  engine.failing = "ov_preprocess_prepostprocessor_build 2";
  (void)requestOf(core, network);
  (void)requestOf(other, network);
  EXPECT_EQ(engine.uses["ov_preprocess_prepostprocessor_build"], 1);

  engine.outputType = F16;  // as if another precision had been set since
  engine.status = GENERAL_ERROR;
  for (const char* told : {kNoText, "An earlier load has left the network half prepared"}) {
    try {
      (void)core.LoadNetwork(network, "CPU", {});
      ADD_FAILURE() << "has to fail";
    } catch (const IE::GeneralError& failure) {
      EXPECT_STREQ(failure.what(), told);
    }
  }
}

}  // namespace
}  // namespace OMB
