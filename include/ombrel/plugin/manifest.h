// The host's description of a plug-in and of the package that it lies in: a small JSON file.
//
//   {
//     "name": "libexample.so",        the library, and the name of the plug-in
//     "folder": ".",                  where it and its dependencies lie, from the manifest's folder
//     "initialize": "Initialize",     its two entries
//     "create": "Create",
//     "model_suffix": ".xml",
//     "dependencies": [               libraries that are proven before the plug-in is initialised
//       {"name": "libneeded.so", "hashes": [{"sha256": "...", "offset": 0, "length": 4711}]},
//       {"name": "libhost.so.1", "file": "../libhost.so.1", "hashes": [...]}
//     ],
//     "files": [                      may be left out: other files in the folder, proven whole
//       {"name": "plugins.xml", "sha256": "..."}
//     ],
//     "closed": true,                 may be left out: nothing else may lie in the folder
//     "counter": 3                    may be left out, as 0: which of several lists is the newer
//   }
//
// "files", "closed" and the "file" of a dependency, which tells where one lies that is not in the
// folder, are for PackageVerifier; "counter" is for ManifestTrust. A signature of the list lies
// beside it, under its name with ".sig" behind: the 64 bytes of Ed25519 over the exact bytes of the
// list, as "openssl pkeyutl -sign -rawin" writes them too.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ombrel/export.h"
#include "ombrel/plugin/dependency.h"
#include "ombrel/plugin/dynamic_plugin.h"
#include "ombrel/plugin/repository.h"

namespace OMB {

/// The 32 bytes of a SHA-256 digest.
using Sha256 = std::array<unsigned char, 32>;

/// A digest that a library's file may have over `length` bytes from byte `offset` on.
struct ManifestDigest {
  Sha256 sha256{};
  std::uint32_t offset = 0;
  std::uint32_t length = 0;

  bool operator==(const ManifestDigest&) const = default;
};

/// A library that the plug-in needs, the plug-in itself among them.
struct ManifestDependency {
  std::string name;                    ///< as it goes to Library
  std::vector<ManifestDigest> hashes;  ///< alternatives: one that matches is enough
  std::string file = {};               ///< from the plug-in's folder; empty: it goes by its name

  bool operator==(const ManifestDependency&) const = default;
};

/// A file that is no library and lies in the plug-in's folder.
struct ManifestFile {
  std::string name;  ///< in the plug-in's folder
  Sha256 sha256{};   ///< of all of it

  bool operator==(const ManifestFile&) const = default;
};

/// What a manifest says, field by field as in its text.
struct Manifest {
  std::string name;
  std::string folder;
  std::string initialize;
  std::string create;
  std::string modelSuffix;
  std::vector<ManifestDependency> dependencies;
  std::vector<ManifestFile> files = {};
  bool closed = false;
  std::uint64_t counter = 0;

  bool operator==(const Manifest&) const = default;
};

/// Says in one line which field is wrong, and how.
class OMBREL_API ManifestError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// An Ed25519 public key.
using PublicKey = std::array<unsigned char, 32>;

/// Whose manifests a host takes, and which are too old for it: whoever can put files in place can
/// put an older list with its signature there, and the faults that a newer one came to close.
struct ManifestTrust {
  PublicKey key{};
  std::uint64_t leastCounter = 0;
};

/// The manifest is not signed, not by that key, was changed since, or is too old.
class OMBREL_API UntrustedManifest : public ManifestError {
 public:
  using ManifestError::ManifestError;
};

/// Reads a manifest strictly: each field stands there once, has its type and is known, no name
/// stands in a list twice, and what would prove nothing is refused: no dependencies, no digests of
/// one, a digest of no bytes. Throws ManifestError, or std::bad_alloc, whatever the text is.
[[nodiscard]] OMBREL_API Manifest parseManifest(std::string_view text);

/// The same for a file, whose name is UTF-8 or the system's own bytes. Throws ManifestError also if
/// there is none. A framework that was configured with OMBREL_TRUSTED_KEY takes only what that key
/// has signed, and throws UntrustedManifest for any other.
[[nodiscard]] OMBREL_API Manifest readManifest(const std::string& fileName);

/// The same, and `trust` has to be met besides. The file is read once: what was signed is what is
/// returned. Nothing in it is looked at before its signature was found good.
[[nodiscard]] OMBREL_API Manifest readManifest(const std::string& fileName,
                                               const ManifestTrust& trust);

/// The text that parseManifest reads as `manifest`. Throws ManifestError on a string that is not
/// UTF-8. That the manifest proves something is not looked at.
[[nodiscard]] OMBREL_API std::string formatManifest(const Manifest& manifest);

/// The absolute folder of the plug-in whose manifest was read from `fileName`, without a separator
/// at its end.
[[nodiscard]] OMBREL_API std::string pluginFolder(const std::string& fileName,
                                                  const Manifest& manifest);

/// The dependencies with their digests, in the manifest's order.
[[nodiscard]] OMBREL_API Repository<Dependency> makeDependencies(const Manifest& manifest);

/// The plug-in that the manifest describes, not loaded yet, with its dependencies.
[[nodiscard]] OMBREL_API DynamicPlugin makePlugin(const Manifest& manifest);

}  // namespace OMB
