#include <map>
#include <string>
#include <utility>
#include <vector>

#include "build_constants.h"
#include "engine/cnn_network_impl.h"
#include "engine/core_impl.h"
#include "engine/engine_call.h"
#include "engine/executable_network_impl.h"
#include "engine/plugin_list.h"
#include "engine/preparation.h"
#include "engine/shape.h"

namespace InferenceEngine {
namespace {

using Tensor = Handle<ov_tensor_t, ov_tensor_free>;
using ReadModel = Handle<ov_model_t, ov_model_free>;

// Every core of the engine has this device, whatever its list says, and finds the library for it
// in full beside its runtime: a name that the engine would look for could be anybody's library.
constexpr char kOwnPlugin[] = "MKLDNNPlugin";
constexpr char kOwnDevice[] = "CPU";

// A tensor over the blob's memory, which it does not keep.
Tensor tensorOver(Blob& blob) {
  std::int64_t size = static_cast<std::int64_t>(blob.byteSize());
  return made<Tensor>(ov_tensor_create_from_host_ptr, U8, ov_shape_t{1, &size},
                      blob.wmap().as<void*>());
}

// The compiled network's port of each name.
template <typename Get>
void addPorts(Ports::ByName& ports, const std::vector<std::string>& names,
              const CompiledModel& compiled, Get get) {
  for (std::size_t i = 0; i < names.size(); ++i) {
    auto port = made<Port>(get, compiled.get(), i);
    const bool fixed = isKnown(shapeOf(port.get()));
    ports.emplace(names[i], CompiledPort{std::move(port), fixed});
  }
}

}  // namespace

Settings engineSettings(const Settings& config) {
  Settings result;
  for (const auto& [key, value] : config) {
    result[key == "CPU_THREADS_NUM" ? "INFERENCE_NUM_THREADS" : key] = value;
  }
  if (!OMB::inferencePrecision.empty()) {
    result["INFERENCE_PRECISION_HINT"] = std::string(OMB::inferencePrecision);
  }
  return result;
}

std::vector<ov_property_t> propertiesOf(const Settings& settings) {
  std::vector<ov_property_t> properties;
  for (const auto& [key, value] : settings) properties.push_back({key.c_str(), value.c_str()});
  return properties;
}

const std::string& Core::Impl::engineName(const std::string& device) const {
  const auto registered = devices.find(device);
  return registered == devices.end() ? device : registered->second;
}

ExecutableNetwork Core::Impl::executable(const CNNNetwork& network,
                                         std::shared_ptr<const void> memory, bool dynamic,
                                         CompiledModel compiled) {
  const CNNNetwork::Impl& source = *network.impl;
  auto ports = std::make_shared<Ports>();
  addPorts(ports->inputs, source.inputNames, compiled, ov_compiled_model_input_by_index);
  addPorts(ports->outputs, source.outputNames, compiled, ov_compiled_model_output_by_index);
  ExecutableNetwork result;
  result.impl = std::make_shared<ExecutableNetwork::Impl>(
      ExecutableNetwork::Impl{std::move(memory), std::move(compiled), std::move(ports), dynamic});
  return result;
}

Core::Core(const std::string& pluginList) {
  requireOwnPlugins(pluginList);
  impl = std::make_shared<Impl>(
      Impl{made<CoreHandle>(ov_core_create_with_config, pluginList.c_str())});
}

void Core::RegisterPlugin(const std::string& plugin, const std::string& device) {
  if (plugin != kOwnPlugin) fail("The engine has no plug-in '" + plugin + "'");
  if (impl->devices.emplace(device, kOwnDevice).second) return;
  fail("Device with \"" + device + "\" is already registered in the OpenVINO Runtime");
}

CNNNetwork Core::ReadNetwork(std::string_view text, const Blob::Ptr& weights) const {
  const NetworkText read = readNetworkText(text);
  const Tensor tensor = tensorOver(*weights);
  Model model = made<ReadModel>(ov_core_read_model_from_memory_buffer, impl->core.get(),
                                text.data(), text.size(), tensor.get());
  CNNNetwork network;
  network.impl = std::make_shared<CNNNetwork::Impl>(weights->getOwner(), std::move(model), read);
  return network;
}

ExecutableNetwork Core::LoadNetwork(const CNNNetwork& network, const std::string& device,
                                    const std::map<std::string, std::string>& config) {
  if (network.impl == nullptr) throw GeneralError("The network is empty");
  CNNNetwork::Impl& source = *network.impl;
  const Model model = prepared(source);
  const Settings settings = engineSettings(config);
  const auto properties = propertiesOf(settings);
  return impl->executable(
      network, source.weights, ov_model_is_dynamic(model.get()),
      made<CompiledModel>(ov_core_compile_model_props, impl->core.get(), model.get(),
                          impl->engineName(device).c_str(), properties.size(), properties.data()));
}

}  // namespace InferenceEngine
