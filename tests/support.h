// What the tests share.
#pragma once

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "ombrel/platform/byte_vector.h"

namespace OMB::test {

/// A folder of its own, removed with all that is in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    static std::atomic<int> count = 0;
    path_ =
        std::filesystem::temp_directory_path() /
        ("ombrel-test-" + std::to_string(std::random_device()()) + "-" + std::to_string(count++));
    std::filesystem::create_directories(path_);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;  // a loaded library can't be removed everywhere
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }
  std::string operator/(std::string_view name) const { return (path_ / name).string(); }

  /// Writes a file and returns its path.
  std::string write(std::string_view name, std::string_view contents) const {
    const std::string file = *this / name;
    std::ofstream(path_ / name, std::ios::binary)  // by its path, as that is in UTF-8 everywhere
        .write(contents.data(), static_cast<std::streamsize>(contents.size()));
    return file;
  }
  std::string write(std::string_view name, const ByteVector& contents) const {
    return write(name,
                 std::string_view(reinterpret_cast<const char*>(contents.data()), contents.size()));
  }

 private:
  std::filesystem::path path_;
};

/// The bytes of a file.
inline std::string contentsOf(const std::string& fileName) {
  std::ifstream file(fileName, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The bytes of a text of hex digits.
inline ByteVector fromHex(std::string_view digits) {
  ByteVector bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(
        static_cast<unsigned char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

/// What a call prints on the standard streams.
struct Printed {
  std::string out;
  std::string error;
};

template <typename Call>
Printed printedBy(Call&& call) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  call();
  std::fflush(stdout);
  Printed printed;
  printed.out = testing::internal::GetCapturedStdout();
  printed.error = testing::internal::GetCapturedStderr();
  return printed;
}

}  // namespace OMB::test
