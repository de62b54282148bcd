// The manifest of a plug-in: what is read is written so that it is read as the same.
#include "ombrel/plugin/manifest.h"

#include "fuzz_input.h"

void OMB::fuzz::run(Input input) {
  const ByteVector bytes = input.rest();
  try {
    const Manifest manifest = parseManifest(std::string(bytes.begin(), bytes.end()));
    REQUIRE(parseManifest(formatManifest(manifest)) == manifest);
  } catch (const ManifestError& error) {
    REQUIRE(*error.what() != '\0');
  }
}
