// Folders of libraries for one test to load.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "library_suffix.h"
#include "support.h"

/// A folder of its own for a test, gone with it where the system removes loaded libraries.
class FixtureFolder {
 public:
  std::string path() const { return OMB::test::utf8Of(path_); }
  std::string path(const std::string& file) const {
    return OMB::test::utf8Of(path_ / OMB::test::pathOf(file));
  }

  /// Copies a library that the build made, "whole" being libwhole.so, under the given file name.
  std::string add(const std::string& fixture, const std::string& file) const {
    std::filesystem::copy_file(OMBREL_FIXTURES "/lib" + fixture + SUFFIX,
                               OMB::test::pathOf(path(file)));
    return path(file);
  }
  std::string add(const std::string& fixture) const {
    return add(fixture, "lib" + fixture + SUFFIX);
  }

  std::string addDeep() const { return directory_.addDeep(); }

  /// Writes a file with this content.
  std::string write(const std::string& file, const std::string& content) const {
    directory_.write(file, content);
    return path(file);
  }

  /// Renames the file, since a loaded library can't be removed everywhere.
  void takeAway(const std::string& file) const {
    std::filesystem::rename(path_ / file, path_ / (file + ".away"));
  }

 private:
  OMB::test::TemporaryDirectory directory_;
  std::filesystem::path path_ = std::filesystem::canonical(directory_.path());
};

/// What the fixtures have counted so far in this process: "FIXTURE_OPENED" or
/// "FIXTURE_INITIALIZED".
inline int fixtureCount(const char* event) {
  const char* value = std::getenv(event);
  return value == nullptr ? 0 : std::atoi(value);
}
