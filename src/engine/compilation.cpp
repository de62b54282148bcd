// Compiled networks on their way out of a process and into another.
#include <map>
#include <string>

#include "engine/core_impl.h"
#include "engine/engine_call.h"
#include "engine/executable_network_impl.h"
#include "engine/preparation.h"

namespace InferenceEngine {
namespace {

// What the engine calls itself, with the number of its build.
struct EngineVersion {
  EngineVersion() { check(ov_get_openvino_version(&version)); }
  EngineVersion(const EngineVersion&) = delete;
  EngineVersion& operator=(const EngineVersion&) = delete;
  ~EngineVersion() { ov_version_free(&version); }

  ov_version_t version = {};
};

std::string propertyOf(const CoreHandle& core, const std::string& device, const char* key) {
  char* value = nullptr;
  check(ov_core_get_property(core.get(), device.c_str(), key, &value));
  const Text kept(value);
  return kept.get();
}

}  // namespace

std::string Core::Describe(const std::string& device,
                           const std::map<std::string, std::string>& config) const {
  const std::string& name = impl->engineName(device);
  const EngineVersion engine;
  std::string text = std::string(engine.version.buildNumber) + "\n";
  for (const char* key : {"FULL_DEVICE_NAME", "OPTIMIZATION_CAPABILITIES"}) {
    text += propertyOf(impl->core, name, key) + "\n";
  }
  for (const auto& [key, value] : engineSettings(config)) text += key + "=" + value + "\n";
  return text;
}

ExecutableNetwork Core::ImportNetwork(const CNNNetwork& network, const Blob::Ptr& compilation,
                                      const std::string& device,
                                      const std::map<std::string, std::string>& config) {
  if (network.impl == nullptr) throw GeneralError("The network is empty");
  const bool dynamic = ov_model_is_dynamic(prepared(*network.impl).get());
  const std::string& name = impl->engineName(device);
  const auto settings = engineSettings(config);
  const auto properties = propertiesOf(settings);
  // The call that imports takes none.
  check(
      ov_core_set_properties(impl->core.get(), name.c_str(), properties.size(), properties.data()));
  return impl->executable(network, compilation->getOwner(), dynamic,
                          made<CompiledModel>(ov_core_import_model, impl->core.get(),
                                              compilation->rmap().as<const char*>(),
                                              compilation->byteSize(), name.c_str()));
}

void ExecutableNetwork::Export(const std::string& path) const {
  if (impl == nullptr) throw GeneralError("The handle is empty");
  check(ov_compiled_model_export_model(impl->compiled.get(), path.c_str()));
}

}  // namespace InferenceEngine
