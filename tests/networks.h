// Networks so small that their answers are worked out by hand, as texts of the engine's IR.
#pragma once

#include <memory>
#include <sstream>
#include <string>

#include <openvino/core/model.hpp>
#include <openvino/op/add.hpp>
#include <openvino/op/constant.hpp>
#include <openvino/op/multiply.hpp>
#include <openvino/op/parameter.hpp>
#include <openvino/pass/serialize.hpp>

namespace OMB::test {

using Node = std::shared_ptr<ov::Node>;

inline std::shared_ptr<ov::op::v0::Parameter> input(
    const std::string& name, const ov::PartialShape& shape,
    const ov::element::Type& type = ov::element::f32) {
  const auto made = std::make_shared<ov::op::v0::Parameter>(type, shape);
  made->set_friendly_name(name);
  return made;
}

/// x + x, as an output of the name. Needs no weights.
inline Node twice(const Node& x, const std::string& name = "y") {
  const Node sum = std::make_shared<ov::op::v1::Add>(x, x);
  sum->set_friendly_name(name);
  return sum;
}

inline std::string textOf(const ov::OutputVector& outputs, const ov::ParameterVector& inputs) {
  std::ostringstream text, weights;
  ov::pass::Serialize(text, weights).run_on_model(std::make_shared<ov::Model>(outputs, inputs));
  return text.str();
}

/// y = x + x
inline std::string doublingNetwork(const ov::PartialShape& shape,
                                   const ov::element::Type& type = ov::element::f32,
                                   const char* layout = nullptr) {
  const auto x = input("x", shape, type);
  if (layout != nullptr) x->set_layout(layout);
  return textOf({twice(x)}, {x});
}

/// y = x * w, with the one weight alone in the weights.
inline std::string scalingNetwork(const ov::PartialShape& shape) {
  const auto x = input("x", shape);
  const Node w = ov::op::v0::Constant::create(ov::element::f32, {1}, {2.5F});
  return textOf({std::make_shared<ov::op::v1::Multiply>(x, w)}, {x});
}

}  // namespace OMB::test
