// The host program's manifest: what is read is written so that it is read as the same.
#include <string_view>

#include "fuzz_input.h"
#include "manifest.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  OMB::tool::Manifest manifest;
  try {
    manifest =
        OMB::tool::parseManifest(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const OMB::tool::ManifestError& error) {
    REQUIRE(*error.what() != '\0');
    return 0;
  }
  REQUIRE(OMB::tool::parseManifest(OMB::tool::formatManifest(manifest)) == manifest);
  return 0;
}
