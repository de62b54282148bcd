// What the tests share.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "ombrel/platform/byte_vector.h"

namespace OMB::test {

#if defined(_WIN32)
inline constexpr bool kOnWindows = true;
#else
inline constexpr bool kOnWindows = false;
#endif

/// Paths from and to UTF-8, which narrow paths are not on every system.
inline std::filesystem::path pathOf(std::string_view utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}
inline std::string utf8Of(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

/// Puts a variable into the environment, or takes it out where there is no value.
inline void setVariable(const char* name, const char* value) {
#if defined(_WIN32)
  _putenv((std::string(name) + "=" + (value == nullptr ? "" : value)).c_str());
#else
  value == nullptr ? unsetenv(name) : setenv(name, value, 1);
#endif
}

/// A folder of its own, removed with all that is in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    static std::atomic<int> count = 0;
    folder =
        std::filesystem::temp_directory_path() /
        ("ombrel-test-" + std::to_string(std::random_device()()) + "-" + std::to_string(count++));
    std::filesystem::create_directories(folder);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;  // a loaded library can't be removed everywhere
    std::filesystem::remove_all(folder, ignored);
  }

  const std::filesystem::path& path() const { return folder; }
  std::string operator/(std::string_view name) const { return utf8Of(folder / pathOf(name)); }

  /// Writes a file and returns its path.
  std::string write(std::string_view name, std::string_view contents) const {
    const std::string file = *this / name;
    std::ofstream(pathOf(file), std::ios::binary)
        .write(contents.data(), static_cast<std::streamsize>(contents.size()));
    return file;
  }
  std::string write(std::string_view name, const ByteVector& contents) const {
    return write(name,
                 std::string_view(reinterpret_cast<const char*>(contents.data()), contents.size()));
  }

  /// Makes a folder inside whose path is longer than the 260 characters that Windows takes without
  /// being told in front of it, and returns it with a separator behind.
  std::string addDeep() const {
    std::filesystem::path deepest = folder;
#if defined(_WIN32)
    deepest = L"\\\\?\\" + folder.wstring();
#endif
    for (int depth = 0; depth < 5; ++depth) {
      deepest /= std::string(60, 'd');
      std::filesystem::create_directory(deepest);
    }
    return utf8Of(deepest / "");
  }

 private:
  std::filesystem::path folder;
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
