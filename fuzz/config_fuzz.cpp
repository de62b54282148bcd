// The configuration file.
#include "ombrel/model/config.h"

#include "fuzz_input.h"

namespace OMB {
namespace {

void requireSame(const Config& a, const Config& b) {
  REQUIRE(a.GetBackend() == b.GetBackend());
  REQUIRE(a.GetThreadCount() == b.GetThreadCount());
  REQUIRE(a.GetDataPath() == b.GetDataPath());
}

}  // namespace
}  // namespace OMB

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const OMB::fuzz::MemoryFile file;
  static const std::string path = file.path();
  file.write(data, size);
  OMB::Config config;
  REQUIRE(config.Read(path.c_str()));
  REQUIRE(config.GetBackend() != OMB::EBackend::UNDEFINED);
  REQUIRE(OMB::EBackend::FindByName(config.GetBackend().GetName()) == config.GetBackend());
  const std::string& dataPath = config.GetDataPath();
  REQUIRE(dataPath.empty() || dataPath.starts_with("/proc/self/fd/"));

  // A file gives the same record over itself.
  OMB::Config again = config;
  REQUIRE(again.Read(path.c_str()));
  OMB::requireSame(config, again);

  const std::string name(reinterpret_cast<const char*>(data), size);
  const auto found = OMB::EBackend::FindByName(name.c_str());
  REQUIRE(!found || found->GetName() == std::string(name.c_str()));
  return 0;
}
