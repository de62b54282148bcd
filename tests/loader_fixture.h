// Loads with the platform's loader.
#pragma once

#include <array>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "fixture_files.h"
#include "platform/system_calls.h"
#include "platform/text.h"

namespace OMB {

inline HMODULE load(const std::string& name) {
  return LoadLibraryW(to_wide(name).c_str());
}

inline std::string fileOf(HMODULE module) {
  std::array<wchar_t, 1024> block;
  const DWORD size = GetModuleFileNameW(module, block.data(), static_cast<DWORD>(block.size()));
  return to_utf8(std::wstring(block.data(), size));
}

/// Leaves the process without a search directory.
class LoaderTest : public testing::Test {
 protected:
  ~LoaderTest() override { SetDllDirectoryA(nullptr); }

  /// The code and the text of a load that must fail.
  static std::pair<DWORD, std::string> failureOf(const std::string& name) {
    HMODULE module = load(name);
    EXPECT_EQ(module, nullptr) << name;
    if (module != nullptr) FreeLibrary(module);
    const DWORD code = GetLastError();
    return {code, system_error_text(-1)};
  }

  FixtureFolder folder;
};

}  // namespace OMB
