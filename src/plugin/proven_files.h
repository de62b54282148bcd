// The proven files of a package, held open until they have been mapped.
#pragma once

#include <cstdint>
#include <filesystem>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "plugin/file_digests.h"
#include "system/module.h"
#include "system/open_file.h"

namespace OMB {

/// A plain file, the name by which it is loaded (empty if it is no library), and the digests of
/// which one is to be its own.
struct ClaimedFile {
  std::filesystem::path place;
  std::string library;
  std::vector<ExpectedDigest> digests;
};

/// Threads: added to by one; afterwards only read, by any.
class ProvenFiles {
 public:
  /// Those of the package in this folder.
  explicit ProvenFiles(std::filesystem::path root) : folder(std::move(root)) {}

  /// Reads the files, some at a time, and holds those that are proven as a whole. Once. Returns in
  /// their order how much of each is proven.
  std::vector<Covered> prove(std::vector<ClaimedFile> claims);

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
    explicit Held(ClaimedFile claim);
    bool isUnchanged() const { return isSettled && file.lastChange() == lastChange; }
    bool isStillProven() const;

    std::string place;
    std::string library;
    std::vector<ExpectedDigest> digests;
    system::OpenFile file;
    Covered part = Covered::kUnread;
    std::int64_t lastChange;
    bool isSettled;
  };

  void readAll();

  std::list<Held> files;
  std::set<std::filesystem::path> names;  // of those in the folder, and what they lead to
};

}  // namespace OMB
