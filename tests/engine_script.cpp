#include "engine_script.h"

#include <algorithm>

#include "failing_allocations.h"

using OMB::test::SparedAllocations;

EngineScript& engineScript() {
  static EngineScript script;
  return script;
}

namespace {

void use(const std::string& call) {
  EngineScript& script = engineScript();
  const std::string name = call + " " + std::to_string(++script.uses[call]);
  if (name == script.failing) script.failure();
}

}  // namespace

namespace InferenceEngine {

struct CNNNetwork::Impl {
  InputsDataMap inputs;
  OutputsDataMap outputs;
};
struct InferRequest::Impl {
  ov::Tensor x{ov::element::f32, {1, 3}}, y{ov::element::f32, {1, 3}};
};
struct ExecutableNetwork::Impl {};
struct Core::Impl {};

void MemoryBlob::allocate() {
  const SparedAllocations spared;
  use("allocate");
  tensor_ = ov::Tensor(ov::element::u8, desc_.getDims());
}

Core::Core(const std::string& /*pluginList*/) {
  const SparedAllocations spared;
  use("Core");
}

void Core::RegisterPlugin(const std::string& /*plugin*/, const std::string& /*device*/) {
  const SparedAllocations spared;
  use("RegisterPlugin");
}

CNNNetwork Core::ReadNetwork(const std::string& text, const Blob::Ptr& weights) const {
  const SparedAllocations spared;
  use("ReadNetwork");
  if (text.empty()) throw GeneralError("no text");
  engineScript().text = text;
  const auto* bytes = weights->rmap().as<const char*>();
  engineScript().weights.assign(bytes, bytes + weights->byteSize());
  CNNNetwork network;
  network.impl_ = std::make_shared<CNNNetwork::Impl>();
  const TensorDesc desc(Precision::FP32, {1, 3}, Layout::NC);
  network.impl_->outputs["y"] = std::make_shared<Data>("y", desc);
  network.impl_->inputs["x"] = std::make_shared<InputInfo>();
  network.impl_->inputs["x"]->setInputData(std::make_shared<Data>("x", desc));
  return network;
}

ExecutableNetwork Core::LoadNetwork(const CNNNetwork& network, const std::string& /*device*/,
                                    const std::map<std::string, std::string>& /*config*/) {
  const SparedAllocations spared;
  use("LoadNetwork");
  if (network.impl_ == nullptr) throw GeneralError("empty");
  ExecutableNetwork loaded;
  if (!engineScript().emptyExecutable) loaded.impl_ = std::make_shared<ExecutableNetwork::Impl>();
  return loaded;
}

void CNNNetwork::setBatchSize(std::size_t /*size*/) {
  const SparedAllocations spared;
  use("setBatchSize");
}

InputsDataMap CNNNetwork::getInputsInfo() const {
  const SparedAllocations spared;
  use("getInputsInfo");
  return impl_->inputs;
}

OutputsDataMap CNNNetwork::getOutputsInfo() const {
  const SparedAllocations spared;
  use("getOutputsInfo");
  return impl_->outputs;
}

InferRequest ExecutableNetwork::CreateInferRequest() const {
  const SparedAllocations spared;
  use("CreateInferRequest");
  if (impl_ == nullptr) throw GeneralError("empty");
  InferRequest request;
  request.impl_ = std::make_shared<InferRequest::Impl>();
  return request;
}

Blob::Ptr InferRequest::GetBlob(const std::string& name) const {
  const SparedAllocations spared;
  use("GetBlob");
  return std::make_shared<Blob>(name == "x" ? impl_->x : impl_->y);
}

void InferRequest::Infer() {
  const SparedAllocations spared;
  use("Infer");
  std::transform(impl_->x.data<float>(), impl_->x.data<float>() + 3, impl_->y.data<float>(),
                 [](float value) { return 2 * value; });
}

}  // namespace InferenceEngine
