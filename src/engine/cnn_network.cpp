#include <algorithm>
#include <utility>

#include "engine/batch.h"
#include "engine/cnn_network_impl.h"
#include "engine/precision.h"
#include "engine/preparation.h"
#include "engine/shape.h"

namespace InferenceEngine {
namespace {

DataPtr describe(const std::string& name, const Port& port) {
  ov_element_type_e type = DYNAMIC;
  check(ov_port_get_element_type(port.get(), &type));
  return std::make_shared<Data>(
      name, TensorDesc(precisionOf(type), dimsOf(shapeOf(port.get())), Layout::ANY));
}

// Text and model are read apart; names that went to the wrong port would give wrong results.
void requireSameCount(const CNNNetwork::Impl& network) {
  std::size_t inputs = 0, outputs = 0;
  check(ov_model_inputs_size(network.model.get(), &inputs));
  check(ov_model_outputs_size(network.model.get(), &outputs));
  if (inputs == network.inputNames.size() && outputs == network.outputNames.size()) return;
  fail("The network's text does not have the inputs and outputs that the engine reads in it");
}

// Indices and new shapes of inputs, as the engine takes them.
class Reshaping {
 public:
  void add(std::size_t input, Shape shape) {
    indices.push_back(input);
    shapes.push_back(*std::move(shape));
  }

  /// Whether there was anything to do.
  bool applyTo(ov_model_t* model) {
    std::vector<ov_partial_shape_t> partial;
    for (auto& shape : shapes) {
      const auto rank = static_cast<std::int64_t>(shape.size());
      partial.push_back({{rank, rank}, shape.data()});
    }
    if (indices.empty()) return false;
    check(ov_model_reshape_by_port_indexes(model, indices.data(), partial.data(), indices.size()));
    return true;
  }

 private:
  std::vector<std::size_t> indices;
  std::vector<std::vector<ov_dimension_t>> shapes;
};

}  // namespace

CNNNetwork::Impl::Impl(std::shared_ptr<const void> bytes, Model read, const NetworkText& text)
    : weights(std::move(bytes)), model(std::move(read)), outputNames(text.outputs) {
  for (const NetworkText::Input& input : text.inputs) {
    inputNames.push_back(input.name);
    layouts.push_back(parseLayout(input.layout));
  }
  requireSameCount(*this);
  for (std::size_t i = 0; i < inputNames.size(); ++i) {
    auto info = std::make_shared<InputInfo>();
    info->setInputData(describe(inputNames[i], input(i)));
    inputs.emplace(inputNames[i], std::move(info));
  }
  for (std::size_t i = 0; i < outputNames.size(); ++i) {
    outputs.emplace(outputNames[i], describe(outputNames[i], output(i)));
  }
}

Port CNNNetwork::Impl::input(std::size_t index) const {
  return made<Port>(ov_model_const_input_by_index, model.get(), index);
}

Port CNNNetwork::Impl::output(std::size_t index) const {
  return made<Port>(ov_model_const_output_by_index, model.get(), index);
}

void CNNNetwork::Impl::readShapes() {
  for (std::size_t i = 0; i < inputNames.size(); ++i) {
    inputs.at(inputNames[i])->setDims(dimsOf(shapeOf(input(i).get())));
  }
  for (std::size_t i = 0; i < outputNames.size(); ++i) {
    outputs.at(outputNames[i])->setDims(dimsOf(shapeOf(output(i).get())));
  }
}

void CNNNetwork::setBatchSize(std::size_t size) {
  const auto batch = static_cast<std::int64_t>(size);
  std::vector<std::pair<std::string, std::size_t>> byName;
  for (std::size_t i = 0; i < impl->inputNames.size(); ++i) {
    byName.emplace_back(impl->inputNames[i], i);
  }
  std::sort(byName.begin(), byName.end());
  std::vector<BatchInput> inputs;
  for (const auto& [name, index] : byName) {
    inputs.push_back({impl->layouts[index], shapeOf(impl->input(index).get())});
  }

  const auto dimensions = batchDimensions(inputs);
  Reshaping reshaping;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    Shape& shape = inputs[i].shape;
    ov_dimension_t* dimension = dimensions[i] ? &(*shape)[*dimensions[i]] : nullptr;
    const bool changes =
        dimension != nullptr && (dimension->min != batch || dimension->max != batch);
    if (changes) *dimension = {batch, batch};
    if (!isKnown(shape)) {
      fail("Input '" + byName[i].first + "' has a dimension that is not known: " + toText(shape));
    }
    if (changes) reshaping.add(byName[i].second, shape);
  }
  if (reshaping.applyTo(impl->model.get())) impl->readShapes();
}

InputsDataMap CNNNetwork::getInputsInfo() const {
  return impl ? impl->inputs : InputsDataMap();
}

SizeVector CNNNetwork::getInputDims(const std::string& name) const {
  return dimsInMemory(*impl, name);
}

OutputsDataMap CNNNetwork::getOutputsInfo() const {
  return impl ? impl->outputs : OutputsDataMap();
}

}  // namespace InferenceEngine
