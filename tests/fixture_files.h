// Folders of libraries for one test to load.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

/// A folder of its own for a test, gone with it. Loaded libraries outlive their files.
class FixtureFolder {
 public:
  FixtureFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ombrel-XXXXXX").string();
    path_ = std::filesystem::canonical(mkdtemp(pattern.data()));
  }
  ~FixtureFolder() { std::filesystem::remove_all(path_); }
  FixtureFolder(const FixtureFolder&) = delete;
  FixtureFolder& operator=(const FixtureFolder&) = delete;

  std::string path() const { return path_.string(); }
  std::string path(const std::string& file) const { return (path_ / file).string(); }

  /// Copies a library that the build made, "whole" being libwhole.so, under the given file name.
  std::string add(const std::string& fixture, const std::string& file) const {
    std::filesystem::copy_file(std::string(OMBREL_FIXTURES) + "/lib" + fixture + ".so",
                               path_ / file);
    return path(file);
  }
  std::string add(const std::string& fixture) const {
    return add(fixture, "lib" + fixture + ".so");
  }

  /// Writes a file with this content.
  std::string write(const std::string& file, const std::string& content) const {
    std::ofstream(path_ / file, std::ios::binary) << content;
    return path(file);
  }

 private:
  std::filesystem::path path_;
};

/// What the fixtures have counted so far in this process: "FIXTURE_OPENED" or
/// "FIXTURE_INITIALIZED".
inline int fixtureCount(const char* event) {
  const char* value = std::getenv(event);
  return value == nullptr ? 0 : std::atoi(value);
}
