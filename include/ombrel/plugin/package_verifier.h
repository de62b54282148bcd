// PackageVerifier: proves the files of a plug-in's package before any of them is mapped.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ombrel/export.h"
#include "ombrel/plugin/manifest.h"

namespace OMB {

class ProvenFiles;

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
  EXTRA_LIBRARY,   ///< in a folder that is not closed; a library by its name, and not listed
  OPEN_TO_OTHERS,  ///< proven, but other users may change it, or put another in its place
};

/// What was found about one file.
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
/// The proven files stay open as long as the object and what it made, on Windows locked against
/// changes, and MakePlugin gives the plug-in that is loaded from these files only: a host that
/// loads by it maps nothing that was not proven, unless somebody exchanges a file in the moment
/// between the last look at its name and the loader's. Such a file is told after it was mapped.
/// That moment is closed where GetWarnings is empty, as then nobody else may exchange anything.
///
/// Threads: one object is used by one thread at a time; nothing is shared between objects.
class OMBREL_API PackageVerifier {
 public:
  /// Looks at everything, whatever it finds; where there is much to read, up to three other threads
  /// help until it returns. `folder` is that of pluginFolder, and `besides` names what may lie in a
  /// closed folder without a digest, as the manifest itself. All names are UTF-8 or the system's
  /// own bytes. Throws std::bad_alloc.
  PackageVerifier(const std::string& folder, const Manifest& manifest,
                  const std::vector<std::string>& besides);
  ~PackageVerifier();
  PackageVerifier(const PackageVerifier&) = delete;
  PackageVerifier& operator=(const PackageVerifier&) = delete;

  /// Whether nothing is wrong.
  [[nodiscard]] bool IsProven() const noexcept;

  /// One a file, the libraries first, in the manifest's order.
  const std::vector<PackageFinding>& GetFindings() const noexcept { return findings; }

  /// What is no fault by itself: EXTRA_LIBRARY and OPEN_TO_OTHERS, the latter also for a folder on
  /// the way to a file. A host that wants to be strict takes a package without any only.
  const std::vector<PackageFinding>& GetWarnings() const noexcept { return warnings; }

  /// The manifest's plug-in, as makePlugin gives it, and in any case bound to the proven files. Its
  /// Load returns INTEGRITY_CHECK_FAILED, with a line on standard error, and maps nothing: if the
  /// package is not proven, if the directory is not its folder, or if a file was changed, moved or
  /// exchanged since. Then it loads and tests as every plug-in does, but reads no file again whose
  /// very bytes were proven and are what the loader mapped, and returns INTEGRITY_CHECK_FAILED also
  /// if a library has come from the folder that is not listed. Throws std::bad_alloc.
  [[nodiscard]] std::unique_ptr<DynamicPlugin> MakePlugin() const;

 private:
  Manifest manifest;
  std::shared_ptr<const ProvenFiles> proven;
  std::vector<PackageFinding> findings;
  std::vector<PackageFinding> warnings;
};

}  // namespace OMB
