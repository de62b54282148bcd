// The proven files of a package, held open until they have been mapped.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "plugin/file_digests.h"
#include "system/module.h"
#include "system/open_file.h"

namespace OMB {

/// Threads: added to by one; afterwards only read, by any.
class ProvenFiles {
 public:
  /// Those of the package in this folder.
  explicit ProvenFiles(std::filesystem::path root) : folder(std::move(root)) {}

  /// Reads a plain file, and holds it if all of it is proven. `library` is the name by which it is
  /// loaded, empty if it is none.
  Covered prove(const std::filesystem::path& place, const std::string& library,
                const std::vector<ExpectedDigest>& digests);

  /// The place of the first file that is no longer what it was, or where it was; empty for none.
  std::string firstChanged() const;

  /// Whether the module is mapped from a file that was proven under that name, and whose bytes are
  /// still those that were read.
  bool isMapped(const std::string& library, system::Module module) const;

  /// A library that is mapped from the folder and is none of these files; empty for none.
  std::string firstUnlistedModule() const;

  const std::filesystem::path folder;

 private:
  struct Held {
    Held(const std::filesystem::path& file, const std::string& name,
         const std::vector<ExpectedDigest>& expected);
    bool isUnchanged() const { return isSettled && file.lastChange() == lastChange; }
    bool isStillProven() const;

    std::string place;
    std::string library;
    std::vector<ExpectedDigest> digests;
    system::OpenFile file;
    std::int64_t lastChange;
    bool isSettled;
  };

  std::deque<Held> files;                 // which do not move
  std::set<std::filesystem::path> names;  // of those in the folder, and what they lead to
};

}  // namespace OMB
