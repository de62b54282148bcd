// The configuration file.
#include "ombrel/model/config.h"

#include "fuzz_input.h"

void OMB::fuzz::run(Input input) {
  const ByteVector bytes = input.rest();
  const std::string& path = fileOf(bytes);
  Config config;
  REQUIRE(config.Read(path.c_str()));
  REQUIRE(config.GetBackend() != EBackend::UNDEFINED);
  REQUIRE(EBackend::FindByName(config.GetBackend().GetName()) == config.GetBackend());
  REQUIRE(config.GetDataPath().empty() || config.GetDataPath().starts_with("/proc/self/fd/"));
  Config again = config;  // a file gives the same record over itself
  REQUIRE(again.Read(path.c_str()));
  REQUIRE(again.GetBackend() == config.GetBackend());
  REQUIRE(again.GetThreadCount() == config.GetThreadCount());
  REQUIRE(again.GetDataPath() == config.GetDataPath());

  const std::string name(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
  const auto found = EBackend::FindByName(name.c_str());
  REQUIRE(!found || found->GetName() == name);
}
