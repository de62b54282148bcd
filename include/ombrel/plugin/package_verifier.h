// PackageVerifier: proves the files of a plug-in's package before any of them is mapped.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ombrel/export.h"
#include "ombrel/plugin/manifest.h"

namespace OMB {

/// What is wrong with a file of a package.
enum class EPackageFault {
  NONE,            ///< proven: all of it has a digest that is listed
  MISSING,         ///< listed, and not there
  UNLISTED,        ///< the plug-in's own library, which no dependency names
  NOT_PLAIN,       ///< a folder, a pipe, a device
  LEAVES_FOLDER,   ///< a link to a file in another folder
  UNREADABLE,      ///< there, and cannot be read to its end
  CHANGED,         ///< none of its digests is the file's
  PARTLY_COVERED,  ///< a listed range matches, and nothing says what the rest has to be
  EXTRA,           ///< in a closed folder, and not listed
};

struct PackageFinding {
  std::string name;  ///< as the manifest or the folder has it
  EPackageFault fault;

  /// What is wrong, in words that follow the name.
  OMBREL_API const char* Describe() const noexcept;

  bool operator==(const PackageFinding&) const = default;
};

/// A load maps libraries, and runs their constructors, before their digests are tested. This is the
/// test that comes first: nothing is loaded by it. Each listed library and file is read once, in
/// small pieces and through one descriptor, and has to be a plain file in its place, with a digest
/// of its whole length among those of the list. A library is looked at under each name by which the
/// loader might open it. Of a closed folder nothing else may be there, subfolders included.
///
/// The proven files stay open as long as the object, so that what takes the place of one is
/// another file. A load afterwards finds files by their names once more, and HashChecker tells one
/// that has been exchanged in between, after it was mapped: folders of libraries have to be
/// writable for nobody who is not trusted.
///
/// Threads: one object is used by one thread at a time; nothing is shared between objects.
class OMBREL_API PackageVerifier {
 public:
  /// Looks at everything, whatever it finds. `folder` is that of pluginFolder, and `besides` names
  /// what may lie in a closed folder without a digest, as the manifest itself. All names are UTF-8
  /// or the system's own bytes. Throws std::bad_alloc.
  PackageVerifier(const std::string& folder, const Manifest& manifest,
                  const std::vector<std::string>& besides);
  ~PackageVerifier();
  PackageVerifier(const PackageVerifier&) = delete;
  PackageVerifier& operator=(const PackageVerifier&) = delete;

  /// Whether nothing is wrong.
  [[nodiscard]] bool IsProven() const noexcept;

  /// One a file, the libraries first, in the manifest's order.
  const std::vector<PackageFinding>& GetFindings() const noexcept { return findings; }

 private:
  struct Files;

  std::unique_ptr<Files> held;
  std::vector<PackageFinding> findings;
};

}  // namespace OMB
