// Folders of libraries for one test to load.
#pragma once

#include <filesystem>
#include <string>

#include "library_suffix.h"
#include "support.h"

/// A folder of its own for a test, gone with it where the system removes loaded libraries.
class FixtureFolder : private OMB::test::TemporaryDirectory {
 public:
  using TemporaryDirectory::addDeep;
  using TemporaryDirectory::write;

  std::string path() const { return OMB::test::utf8Of(own); }
  std::string path(const std::string& file) const {
    return OMB::test::utf8Of(own / OMB::test::pathOf(file));
  }

  /// Copies a library that the build made, "whole" being libwhole.so, under this or its own name.
  std::string add(const std::string& fixture, std::string file = "") const {
    const std::string built = "lib" + fixture + SUFFIX;
    if (file.empty()) file = built;
    std::filesystem::copy_file(OMBREL_FIXTURES "/" + built, OMB::test::pathOf(path(file)));
    return path(file);
  }

  /// Renames the file, since a loaded library can't be removed everywhere.
  void takeAway(const std::string& file) const {
    std::filesystem::rename(own / file, own / (file + ".away"));
  }

 private:
  // Resolved, as the loader tells it.
  std::filesystem::path own = std::filesystem::canonical(TemporaryDirectory::path());
};
