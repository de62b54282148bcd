#include <filesystem>
#include <memory>
#include <optional>

#include <openvino/core/preprocess/pre_post_process.hpp>
#include <openvino/core/version.hpp>
#include <openvino/runtime/core.hpp>

#include "build_constants.h"
#include "engine/cnn_network_impl.h"
#include "engine/engine_call.h"
#include "engine/executable_network_impl.h"
#include "engine/xml_start.h"
#include "system/module_path.h"

namespace InferenceEngine {
namespace {

// Gives a tensor memory that there is already, and ends it with the tensor.
struct HeldBytes {
  std::shared_ptr<OMB::ByteVector> bytes;

  void* allocate(std::size_t /*size*/, std::size_t /*alignment*/) { return bytes->data(); }
  void deallocate(void* /*block*/, std::size_t /*size*/, std::size_t /*alignment*/) noexcept {
    bytes.reset();
  }
  bool is_equal(const HeldBytes& other) const { return bytes == other.bytes; }
};

ov::element::Type elementOf(Precision precision) {
  switch (precision) {
    case Precision::FP32:
      return ov::element::f32;
    case Precision::U8:
      return ov::element::u8;
    case Precision::UNSPECIFIED:
      break;
  }
  return ov::element::dynamic;
}

// Whether the memory has to hold another type than the network works in.
bool converts(Precision wanted, const ov::Output<ov::Node>& port) {
  return wanted != Precision::UNSPECIFIED && elementOf(wanted) != port.get_element_type();
}

// Whether the memory has to be in another layout than the network declares.
bool reorders(Layout wanted, const ov::Output<ov::Node>& input) {
  const ov::Layout declared = ov::layout::get_layout(input);
  return wanted == Layout::NCHW && !declared.empty() && declared != ov::Layout("NCHW");
}

// Applies what was set in the network, on a copy; what changes nothing needs none.
std::shared_ptr<ov::Model> prepared(const std::shared_ptr<ov::Model>& model,
                                    const std::vector<TensorDesc>& inputs,
                                    const std::vector<TensorDesc>& outputs) {
  std::optional<ov::preprocess::PrePostProcessor> steps;
  const auto change = [&]() -> ov::preprocess::PrePostProcessor& {
    return steps ? *steps : steps.emplace(model->clone());
  };
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    if (converts(inputs[i].getPrecision(), model->input(i))) {
      change().input(i).tensor().set_element_type(elementOf(inputs[i].getPrecision()));
    }
    if (reorders(inputs[i].getLayout(), model->input(i)))
      change().input(i).tensor().set_layout("NCHW");
  }
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    if (!converts(outputs[i].getPrecision(), model->output(i))) continue;
    change().output(i).tensor().set_element_type(elementOf(outputs[i].getPrecision()));
  }
  return steps ? steps->build() : model;
}

// In the model's order, which is not the order of the names.
template <typename InfoMap>
std::vector<TensorDesc> descriptions(const std::vector<std::string>& names, const InfoMap& infos) {
  std::vector<TensorDesc> result;
  for (const std::string& name : names) result.push_back(infos.at(name)->getTensorDesc());
  return result;
}

// The compiled network's port of each name.
template <typename Port>
void addPorts(Ports& ports, const std::vector<std::string>& names, const std::vector<Port>& found) {
  for (std::size_t i = 0; i < names.size(); ++i) ports.emplace(names[i], found.at(i));
}

// The engine looks for a bare name in the current folder before its own, where anybody could have
// put a library of that name: the one beside the runtime is named in full.
std::string cpuPlugin() {
  const auto inRuntime = reinterpret_cast<const void*>(&ov::get_openvino_version);
  const std::filesystem::path file = std::filesystem::path(OMB::system::modulePath(inRuntime))
                                         .replace_filename("libopenvino_intel_cpu_plugin.so");
  return std::filesystem::exists(file) ? file.string() : "openvino_intel_cpu_plugin";
}

ov::AnyMap settings(const std::map<std::string, std::string>& config) {
  ov::AnyMap result;
  for (const auto& [key, value] : config) {
    result[key == "CPU_THREADS_NUM" ? "INFERENCE_NUM_THREADS" : key] = value;
  }
  if (!OMB::inferencePrecision.empty()) {
    result["INFERENCE_PRECISION_HINT"] = std::string(OMB::inferencePrecision);
  }
  return result;
}

}  // namespace

void MemoryBlob::allocate() {
  engineCall([&] {
    bytes_.reserve(1);  // the runtime wants an address even for nothing
    const HeldBytes held{std::make_shared<OMB::ByteVector>(std::move(bytes_))};
    tensor_ = ov::Tensor(elementOf(desc_.getPrecision()), ov::Shape(desc_.getDims()), held);
  });
}

struct Core::Impl {
  ov::Core core;
};

Core::Core(const std::string& pluginList)
    : impl_(engineCall([&] { return std::make_shared<Impl>(Impl{ov::Core(pluginList)}); })) {}

void Core::RegisterPlugin(const std::string& plugin, const std::string& device) {
  engineCall([&] {
    impl_->core.register_plugin(plugin == "MKLDNNPlugin" ? cpuPlugin() : plugin, device);
  });
}

CNNNetwork Core::ReadNetwork(const std::string& text, const Blob::Ptr& weights) const {
  // The runtime skips whatever stands before the root. What another initialisation vector garbles
  // is there, and the start of the weights, which nobody would notice.
  if (!startsAsXml(text)) throw GeneralError("The network's text does not start as XML does");
  CNNNetwork network(engineCall([&] { return impl_->core.read_model(text, weights->tensor()); }));
  // A text that was cut may still be read: as a network that nothing goes into or comes out of.
  if (network.impl_->inputs.empty() || network.impl_->outputs.empty()) {
    throw GeneralError("The network has no input or no output");
  }
  return network;
}

ExecutableNetwork Core::LoadNetwork(const CNNNetwork& network, const std::string& device,
                                    const std::map<std::string, std::string>& config) {
  if (network.impl_ == nullptr) throw GeneralError("The network is empty");
  const CNNNetwork::Impl& source = *network.impl_;
  const std::vector<TensorDesc> inputs = descriptions(source.inputNames, source.inputs);
  const std::vector<TensorDesc> outputs = descriptions(source.outputNames, source.outputs);

  return engineCall([&] {
    ExecutableNetwork loaded;
    loaded.impl_ = std::make_shared<ExecutableNetwork::Impl>();
    loaded.impl_->compiled = impl_->core.compile_model(prepared(source.model, inputs, outputs),
                                                       device, settings(config));
    auto ports = std::make_shared<Ports>();
    addPorts(*ports, source.inputNames, loaded.impl_->compiled.inputs());
    addPorts(*ports, source.outputNames, loaded.impl_->compiled.outputs());
    loaded.impl_->ports = std::move(ports);
    return loaded;
  });
}

}  // namespace InferenceEngine
