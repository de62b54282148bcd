#include "engine/preparation.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "engine/precision.h"
#include "engine/shape.h"

namespace InferenceEngine {
namespace {

using Steps = Handle<ov_preprocess_prepostprocessor_t, ov_preprocess_prepostprocessor_free>;
using InputStep = Handle<ov_preprocess_input_info_t, ov_preprocess_input_info_free>;
using InputTensor = Handle<ov_preprocess_input_tensor_info_t, ov_preprocess_input_tensor_info_free>;
using OutputStep = Handle<ov_preprocess_output_info_t, ov_preprocess_output_info_free>;
using OutputTensor =
    Handle<ov_preprocess_output_tensor_info_t, ov_preprocess_output_tensor_info_free>;
using LayoutHandle = Handle<ov_layout_t, ov_layout_free>;
using BuiltModel = Handle<ov_model_t, ov_model_free>;

constexpr char kPlanar[] = "NCHW";

// Whether the memory has to hold another type than the network works in.
bool converts(Precision wanted, const Port& port) {
  if (wanted == Precision::UNSPECIFIED) return false;
  ov_element_type_e type = DYNAMIC;
  check(ov_port_get_element_type(port.get(), &type));
  return type != elementOf(wanted);
}

// Whether the memory has to be in another order than the network declares.
bool reorders(Layout wanted, const DeclaredLayout& declared) {
  return wanted == Layout::NCHW && isOrderOfNchw(declared) && !isNchw(declared);
}

// The changes to a model, made when there are any.
class Changes {
 public:
  explicit Changes(const Model& changing) : model(changing) {}

  void setInput(std::size_t index, Precision precision) {
    check(
        ov_preprocess_input_tensor_info_set_element_type(input(index).get(), elementOf(precision)));
  }
  void setPlanar(std::size_t index) {
    const auto layout = made<LayoutHandle>(ov_layout_create, kPlanar);
    check(ov_preprocess_input_tensor_info_set_layout(input(index).get(), layout.get()));
  }
  void setOutput(std::size_t index, Precision precision) {
    const auto output =
        made<OutputStep>(ov_preprocess_prepostprocessor_get_output_info_by_index, begun(), index);
    const auto tensor = made<OutputTensor>(ov_preprocess_output_info_get_tensor_info, output.get());
    check(ov_preprocess_output_set_element_type(tensor.get(), elementOf(precision)));
  }

  bool any() const { return steps != nullptr; }
  Model build() const {
    return made<BuiltModel>(ov_preprocess_prepostprocessor_build, steps.get());
  }

 private:
  ov_preprocess_prepostprocessor_t* begun() {
    if (steps == nullptr) {
      steps = made<Steps>(ov_preprocess_prepostprocessor_create, model.get());
    }
    return steps.get();
  }
  InputTensor input(std::size_t index) {
    const auto step =
        made<InputStep>(ov_preprocess_prepostprocessor_get_input_info_by_index, begun(), index);
    return made<InputTensor>(ov_preprocess_input_info_get_tensor_info, step.get());
  }

  const Model& model;
  Steps steps;
};

void apply(CNNNetwork::Impl& network) {
  Changes changes(network.model);
  std::vector<std::size_t> reordered;
  for (std::size_t i = 0; i < network.inputNames.size(); ++i) {
    const TensorDesc& desc = network.inputs.at(network.inputNames[i])->getTensorDesc();
    if (converts(desc.getPrecision(), network.input(i))) changes.setInput(i, desc.getPrecision());
    if (!reorders(desc.getLayout(), network.layouts[i])) continue;
    changes.setPlanar(i);
    reordered.push_back(i);
  }
  for (std::size_t i = 0; i < network.outputNames.size(); ++i) {
    const TensorDesc& desc = network.outputs.at(network.outputNames[i])->getTensorDesc();
    if (converts(desc.getPrecision(), network.output(i))) changes.setOutput(i, desc.getPrecision());
  }
  if (!changes.any()) return;
  // The engine changes the model that it was given, so what fails here can't be done again.
  network.halfPrepared = true;
  network.model = changes.build();
  for (const std::size_t i : reordered) network.layouts[i] = parseLayout(kPlanar);
  network.halfPrepared = false;
}

// From the order that is declared to NCHW.
SizeVector planar(const SizeVector& dims, const DeclaredLayout& declared) {
  SizeVector result;
  for (const char dimension : std::string_view(kPlanar)) {
    const auto found = std::find(declared.begin(), declared.end(), std::string(1, dimension));
    result.push_back(dims[static_cast<std::size_t>(found - declared.begin())]);
  }
  return result;
}

}  // namespace

Model prepared(CNNNetwork::Impl& network) {
  const std::lock_guard<std::mutex> lock(network.preparing);
  if (network.halfPrepared) fail("An earlier load has left the network half prepared");
  apply(network);
  return network.model;
}

SizeVector dimsInMemory(CNNNetwork::Impl& network, const std::string& input) {
  const std::lock_guard<std::mutex> lock(network.preparing);
  const auto name = std::find(network.inputNames.begin(), network.inputNames.end(), input);
  if (name == network.inputNames.end()) fail("No input is named '" + input + "'");
  const auto index = static_cast<std::size_t>(name - network.inputNames.begin());
  const SizeVector dims = dimsOf(shapeOf(network.input(index).get()));
  const Layout wanted = network.inputs.at(input)->getTensorDesc().getLayout();
  const DeclaredLayout& declared = network.layouts[index];
  return reorders(wanted, declared) ? planar(dims, declared) : dims;
}

}  // namespace InferenceEngine
