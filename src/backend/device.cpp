#include "backend/device.h"

#include "backend/openvino_network.h"

namespace OMB {
namespace {

namespace IE = InferenceEngine;

constexpr char kDevice[] = "OMBREL_CPU";
constexpr char kEnginePlugin[] = "MKLDNNPlugin";
constexpr char kThreads[] = "CPU_THREADS_NUM";

}  // namespace

Device::Device(Config config)
    : core(config.GetDataPath() + kPluginList),
      settings{{kThreads, std::to_string(config.GetThreadCount())}} {
  core.RegisterPlugin(kEnginePlugin, kDevice);
}

IE::ExecutableNetwork Device::Compile(const IE::CNNNetwork& network) {
  return core.LoadNetwork(network, kDevice, settings);
}

IE::ExecutableNetwork Device::Import(const IE::CNNNetwork& network,
                                     const IE::Blob::Ptr& compilation) {
  return core.ImportNetwork(network, compilation, kDevice, settings);
}

std::string Device::Describe() const {
  return core.Describe(kDevice, settings);
}

}  // namespace OMB
