#include <sstream>

#include <openvino/op/parameter.hpp>
#include <openvino/op/result.hpp>

#include "engine/cnn_network_impl.h"
#include "engine/engine_call.h"

namespace InferenceEngine {
namespace {

Precision precisionOf(const ov::element::Type& type) {
  if (type == ov::element::f32) return Precision::FP32;
  return type == ov::element::u8 ? Precision::U8 : Precision::UNSPECIFIED;
}

SizeVector dimsOf(const ov::PartialShape& shape) {
  SizeVector dims;
  if (shape.rank().is_dynamic()) return dims;
  for (const ov::Dimension& dimension : shape) {
    dims.push_back(dimension.is_static() ? static_cast<std::size_t>(dimension.get_length()) : 0);
  }
  return dims;
}

DataPtr describe(const std::string& name, const ov::Output<ov::Node>& port) {
  return std::make_shared<Data>(name, TensorDesc(precisionOf(port.get_element_type()),
                                                 dimsOf(port.get_partial_shape()), Layout::ANY));
}

std::string nameOfOutput(const ov::Output<ov::Node>& result) {
  const ov::Output<ov::Node> source = result.get_node()->input_value(0);
  const std::string name = source.get_node()->get_friendly_name();
  if (source.get_node()->get_output_size() == 1) return name;
  return name + "." + std::to_string(source.get_index());
}

bool hasBatch(const ov::PartialShape& shape) {
  const ov::Rank rank = shape.rank();
  return rank.is_static() && (rank.get_length() == 2 || rank.get_length() >= 4);
}

void requireKnown(const std::string& name, const ov::PartialShape& shape) {
  if (shape.is_static()) return;
  std::ostringstream text;
  text << "Input '" << name << "' has a dimension that is not known: " << shape;
  throw GeneralError(text.str());
}

}  // namespace

CNNNetwork::CNNNetwork(std::shared_ptr<ov::Model> model) : impl_(std::make_shared<Impl>()) {
  engineCall([&] {
    impl_->model = std::move(model);
    for (const ov::Output<ov::Node>& input : impl_->model->inputs()) {
      const std::string& name =
          impl_->inputNames.emplace_back(input.get_node()->get_friendly_name());
      auto info = std::make_shared<InputInfo>();
      info->setInputData(describe(name, input));
      impl_->inputs.emplace(name, std::move(info));
    }
    for (const ov::Output<ov::Node>& output : impl_->model->outputs()) {
      const std::string& name = impl_->outputNames.emplace_back(nameOfOutput(output));
      impl_->outputs.emplace(name, describe(name, output));
    }
  });
}

void CNNNetwork::Impl::readShapes() {
  for (std::size_t i = 0; i < inputNames.size(); ++i) {
    inputs.at(inputNames[i])->setDims(dimsOf(model->input(i).get_partial_shape()));
  }
  for (std::size_t i = 0; i < outputNames.size(); ++i) {
    outputs.at(outputNames[i])->setDims(dimsOf(model->output(i).get_partial_shape()));
  }
}

void CNNNetwork::setBatchSize(std::size_t size) {
  engineCall([&] {
    std::map<ov::Output<ov::Node>, ov::PartialShape> shapes;
    for (std::size_t i = 0; i < impl_->inputNames.size(); ++i) {
      const ov::Output<ov::Node> input = impl_->model->input(i);
      ov::PartialShape shape = input.get_partial_shape();
      if (hasBatch(shape)) shape[0] = static_cast<ov::Dimension::value_type>(size);
      requireKnown(impl_->inputNames[i], shape);
      if (shape != input.get_partial_shape()) shapes.emplace(input, shape);
    }
    if (shapes.empty()) return;
    impl_->model->reshape(shapes);
    impl_->readShapes();
  });
}

InputsDataMap CNNNetwork::getInputsInfo() const {
  return impl_ ? impl_->inputs : InputsDataMap();
}

OutputsDataMap CNNNetwork::getOutputsInfo() const {
  return impl_ ? impl_->outputs : OutputsDataMap();
}

}  // namespace InferenceEngine
