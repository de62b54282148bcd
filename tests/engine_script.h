// An engine that does what a test tells it, in place of the real one. Its networks have an
// input "x" and an output "y" of three floats, which are twice the input. For one source file of a
// program.
#pragma once

#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "engine/inference_engine.h"
#include "failing_allocations.h"

struct EngineScript {
  std::string failing = {};            ///< a call and which use of it, as in "GetBlob 2"
  std::function<void()> failure = {};  ///< what that call does: it throws
  bool emptyExecutable = false;        ///< LoadNetwork gives an executable network that is empty
  std::string description = "build 1";

  std::map<std::string, int> uses = {};  ///< of each call so far
  std::string text = {}, weights = {};   ///< what was read last
};
inline EngineScript engine;

namespace InferenceEngine {

/// A use of a call, whose allocations do not count.
struct Use : OMB::test::Spared {
  explicit Use(const std::string& call) {
    if (call + " " + std::to_string(++engine.uses[call]) == engine.failing) engine.failure();
  }
};

struct CNNNetwork::Impl {
  InputsDataMap inputs;
  OutputsDataMap outputs;
};
struct InferRequest::Impl {
  float x[3] = {}, y[3] = {};
};
struct ExecutableNetwork::Impl {};
struct Core::Impl {};

void MemoryBlob::allocate() {
  const Use use("allocate");
  const auto held = std::make_shared<OMB::ByteVector>(std::move(bytes));
  address = held->data();
  size = held->size();
  owner = held;
}
Core::Core(const std::string& /*pluginList*/) {
  const Use use("Core");
}
void Core::RegisterPlugin(const std::string& /*plugin*/, const std::string& /*device*/) {
  const Use use("RegisterPlugin");
}
CNNNetwork Core::ReadNetwork(std::string_view text, const Blob::Ptr& weights) const {
  const Use use("ReadNetwork");
  if (text.empty()) throw GeneralError("no text");
  engine.text = text;
  engine.weights.assign(weights->rmap().as<const char*>(), weights->byteSize());
  const TensorDesc desc(Precision::FP32, {1, 3}, Layout::NC);
  CNNNetwork network;
  network.impl = std::make_shared<CNNNetwork::Impl>();
  network.impl->outputs["y"] = std::make_shared<Data>("y", desc);
  network.impl->inputs["x"] = std::make_shared<InputInfo>();
  network.impl->inputs["x"]->setInputData(std::make_shared<Data>("x", desc));
  return network;
}
ExecutableNetwork Core::LoadNetwork(const CNNNetwork& network, const std::string& /*device*/,
                                    const std::map<std::string, std::string>& /*config*/) {
  const Use use("LoadNetwork");
  if (network.impl == nullptr) throw GeneralError("empty");
  ExecutableNetwork loaded;
  if (!engine.emptyExecutable) loaded.impl = std::make_shared<ExecutableNetwork::Impl>();
  return loaded;
}
ExecutableNetwork Core::ImportNetwork(const CNNNetwork& network, const Blob::Ptr& /*compilation*/,
                                      const std::string& device,
                                      const std::map<std::string, std::string>& config) {
  const Use use("ImportNetwork");
  return LoadNetwork(network, device, config);
}
std::string Core::Describe(const std::string& /*device*/,
                           const std::map<std::string, std::string>& /*config*/) const {
  const Use use("Describe");
  return engine.description;
}
void ExecutableNetwork::Export(const std::string& path) const {
  const Use use("Export");
  std::ofstream(path) << "a compilation";
}
void CNNNetwork::setBatchSize(std::size_t /*size*/) {
  const Use use("setBatchSize");
}
InputsDataMap CNNNetwork::getInputsInfo() const {
  const Use use("getInputsInfo");
  return impl->inputs;
}
OutputsDataMap CNNNetwork::getOutputsInfo() const {
  const Use use("getOutputsInfo");
  return impl->outputs;
}
SizeVector CNNNetwork::getInputDims(const std::string& name) const {
  const Use use("getInputDims");
  return impl->inputs.at(name)->getTensorDesc().getDims();
}
InferRequest ExecutableNetwork::CreateInferRequest() const {
  const Use use("CreateInferRequest");
  if (impl == nullptr) throw GeneralError("empty");
  InferRequest request;
  request.impl = std::make_shared<InferRequest::Impl>();
  return request;
}
Blob::Ptr InferRequest::GetBlob(const std::string& name) const {
  const Use use("GetBlob");
  return std::make_shared<Blob>(name == "x" ? impl->x : impl->y, sizeof(impl->x), impl);
}
std::optional<Memory> InferRequest::FindInput(const std::string& name) const {
  const Use use("FindInput");
  if (name != "x") return std::nullopt;
  return Memory{GetBlob(name), TensorDesc(Precision::FP32, {1, 3}, Layout::ANY)};
}
std::optional<Memory> InferRequest::FindOutput(const std::string& name) const {
  const Use use("FindOutput");
  if (name != "y") return std::nullopt;
  return Memory{GetBlob(name), TensorDesc(Precision::FP32, {1, 3}, Layout::ANY)};
}
void InferRequest::Infer() {
  const Use use("Infer");
  for (int i = 0; i < 3; ++i) impl->y[i] = 2 * impl->x[i];
}

}  // namespace InferenceEngine
