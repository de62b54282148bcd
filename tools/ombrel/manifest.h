// The host's description of a plug-in: a small JSON file.
//
//   {
//     "name": "libexample.so",        the library, and the name of the plug-in
//     "folder": ".",                  where it and its dependencies lie, from the manifest's folder
//     "initialize": "Initialize",     its two entries
//     "create": "Create",
//     "model_suffix": ".xml",
//     "dependencies": [               libraries that are proven before the plug-in is initialised
//       {"name": "libneeded.so", "hashes": [{"sha256": "...", "offset": 0, "length": 4711}]}
//     ]
//   }
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace OMB::tool {

/// A digest that a library's file may have over `length` bytes from byte `offset` on.
struct ManifestDigest {
  std::array<unsigned char, 32> sha256{};
  std::uint32_t offset = 0;
  std::uint32_t length = 0;

  bool operator==(const ManifestDigest&) const = default;
};

struct ManifestDependency {
  std::string name;
  std::vector<ManifestDigest> hashes;  ///< alternatives: one that matches is enough

  bool operator==(const ManifestDependency&) const = default;
};

struct Manifest {
  std::string name;
  std::string folder;
  std::string initialize;
  std::string create;
  std::string modelSuffix;
  std::vector<ManifestDependency> dependencies;

  bool operator==(const Manifest&) const = default;
};

/// Says in one line which field is wrong, and how.
class ManifestError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Reads a manifest strictly: every field is there, has its type, and is known. Throws
/// ManifestError, or std::bad_alloc, whatever the text is.
Manifest parseManifest(std::string_view text);

/// The text that parseManifest reads as `manifest`. Throws ManifestError on a string that is not
/// UTF-8.
std::string formatManifest(const Manifest& manifest);

}  // namespace OMB::tool
