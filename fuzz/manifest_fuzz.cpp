// The host program's manifest: what is read is written so that it is read as the same.
#include "fuzz_input.h"
#include "manifest.h"

void OMB::fuzz::run(Input input) {
  const ByteVector bytes = input.rest();
  try {
    const tool::Manifest manifest = tool::parseManifest(std::string(bytes.begin(), bytes.end()));
    REQUIRE(tool::parseManifest(tool::formatManifest(manifest)) == manifest);
  } catch (const tool::ManifestError& error) {
    REQUIRE(*error.what() != '\0');
  }
}
