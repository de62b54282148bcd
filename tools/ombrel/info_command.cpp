#include "info_command.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "ombrel/model/authentication.h"
#include "ombrel/model/nn_description.h"

#include "input_size.h"
#include "json_text.h"
#include "system_calls.h"

namespace OMB::tool {
namespace {

using Tensors = std::vector<NNTensorInfo>;

/// What is known of a model before and after its load.
struct Facts {
  bool sealed;  ///< it loaded with a key
  bool tags;    ///< they lie beside it
  bool described;
  Tensors inputs, outputs;
  std::size_t outputSize;
};

const char* nameOf(ETensorType type) {
  constexpr const char* names[] = {"other", "BOOLEAN", "BF16", "FP16", "FP32", "FP64", "I8",
                                   "I16",   "I32",     "I64",  "U8",   "U16",  "U32",  "U64"};
  const auto index = static_cast<std::size_t>(type);
  return index < std::size(names) ? names[index] : names[0];
}

std::string shapeText(const std::vector<std::size_t>& shape) {
  std::string text;
  for (const std::size_t length : shape) {
    text += (text.empty() ? "" : "x") + (length == 0 ? "?" : std::to_string(length));
  }
  return text.empty() ? "-" : text;
}

/// The order of an input's dimensions, where it is known: of the others the network says nothing.
const char* layoutOf(const Tensors& inputs, std::size_t index) {
  return index == 0 && isPlanarImage(inputs[0]) ? "NCHW" : nullptr;
}

std::size_t widthOfNames(const Facts& facts) {
  std::size_t width = 0;
  for (const Tensors* const tensors : {&facts.inputs, &facts.outputs}) {
    for (const NNTensorInfo& tensor : *tensors) width = std::max(width, tensor.name.size());
  }
  return width;
}

void printTensors(const char* kind, const Tensors& tensors, bool areInputs, std::size_t width) {
  for (std::size_t i = 0; i < tensors.size(); ++i) {
    const char* const layout = areInputs ? layoutOf(tensors, i) : nullptr;
    std::printf("  %-6s  %-*s  %-7s  %s%s%s\n", kind, static_cast<int>(width),
                tensors[i].name.c_str(), nameOf(tensors[i].type),
                shapeText(tensors[i].shape).c_str(), layout == nullptr ? "" : "  ",
                layout == nullptr ? "" : layout);
  }
}

void printText(const Facts& facts, const std::string& base) {
  std::printf("%s  %s, %s tags\n", base.c_str(), facts.sealed ? "sealed" : "in the clear",
              facts.tags ? "with" : "without");
  if (!facts.described) {
    std::printf("  the plug-in tells no more than that a run puts out %zu values\n",
                facts.outputSize);
  }
  printTensors("input", facts.inputs, true, widthOfNames(facts));
  printTensors("output", facts.outputs, false, widthOfNames(facts));
}

nlohmann::ordered_json toJson(const Tensors& tensors, bool areInputs) {
  auto list = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < tensors.size(); ++i) {
    auto shape = nlohmann::ordered_json::array();
    for (const std::size_t length : tensors[i].shape) {
      shape.push_back(length == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(length));
    }
    list.push_back(
        {{"name", tensors[i].name}, {"type", nameOf(tensors[i].type)}, {"shape", shape}});
    const char* const layout = areInputs ? layoutOf(tensors, i) : nullptr;
    if (layout != nullptr) list.back()["layout"] = layout;
  }
  return list;
}

void printFactsAsJson(const Facts& facts, const std::string& base) {
  nlohmann::ordered_json object = {{"model", base},      {"sealed", facts.sealed},
                                   {"tags", facts.tags}, {"output_size", facts.outputSize},
                                   {"inputs", nullptr},  {"outputs", nullptr}};
  if (facts.described) {
    object["inputs"] = toJson(facts.inputs, true);
    object["outputs"] = toJson(facts.outputs, false);
  }
  std::fputs(jsonText(object).c_str(), stdout);
}

Facts gather(ModelOptions& options) {
  const bool sealed = !options.key.empty();
  const bool tags = std::filesystem::exists(pathOf(options.modelBase + kTagsSuffix));
  const ModelSession session(options);
  Facts facts = {sealed, tags, false, {}, {}, session.outputSize()};
  if (auto* const description = dynamic_cast<INNDescription*>(&session.get())) {
    facts.described = true;
    facts.inputs = description->GetInputs();
    facts.outputs = description->GetOutputs();
  }
  return facts;
}

}  // namespace

ExitCode infoCommand(InfoOptions& options) {
  const Facts facts = gather(options.model);
  (options.json ? printFactsAsJson : printText)(facts, options.model.modelBase);
  return ExitCode::Success;
}

}  // namespace OMB::tool
