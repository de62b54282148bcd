// The platform's loader, with real libraries.
#include <cstddef>
#include <filesystem>
#include <string>
#include <utility>

#if !defined(_WIN32)
#include <dlfcn.h>
#endif

#include "loader_fixture.h"

namespace OMB {
namespace {

#if defined(_WIN32)
constexpr char kOwnLibrary[] = "kernel32.dll";
constexpr DWORD kNeededNotFound = 126;  // not told from a file that is not there itself

bool isInProcess(const std::string& name) {
  return GetModuleHandleW(to_wide(name).c_str()) != nullptr;
}
#else
constexpr char kOwnLibrary[] = "libc.so.6";
constexpr DWORD kNeededNotFound = 1157;

bool isInProcess(const std::string& name) {
  void* module = dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (module != nullptr) dlclose(module);
  return module != nullptr;
}
#endif

TEST_F(LoaderTest, FindsAFileByItsPathAndByTheSearchDirectory) {
  const std::string name = "\xD0\xB6 \xE6\xBC\xA2" SUFFIX;
  const std::string path = folder.add("whole", name);
  HMODULE byPath = load(path);
  ASSERT_NE(byPath, nullptr);
  EXPECT_EQ(fileOf(byPath), path);
  EXPECT_NE(GetProcAddress(byPath, "Create"), nullptr);
  EXPECT_EQ(GetProcAddress(byPath, "create"), nullptr);
  EXPECT_EQ(GetLastError(), 127u);
  EXPECT_NE(FreeLibrary(byPath), 0);

  // Not in the process any more, and so to be searched for.
  EXPECT_EQ(failureOf(name).first, ERROR_MOD_NOT_FOUND);
  for (const std::string& directory : {folder.path(), folder.path("."), folder.path() + "//"}) {
    ASSERT_NE(SetDllDirectoryA(directory.c_str()), 0);
    HMODULE found = load(name);
    ASSERT_NE(found, nullptr) << directory;
    EXPECT_EQ(fileOf(found), path);
    EXPECT_NE(FreeLibrary(found), 0);
  }

  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  HMODULE relative = load("./" + name);
  std::filesystem::current_path(before);
  EXPECT_EQ(fileOf(relative), path);
  EXPECT_EQ(load(name), relative);
  EXPECT_EQ(fileOf(relative), path);
  EXPECT_TRUE(FreeLibrary(relative) != 0 && FreeLibrary(relative) != 0);
}

TEST_F(LoaderTest, AModuleInTheProcessComesBeforeAnyFolder) {
  const FixtureFolder other;
  HMODULE first = load(folder.add("whole", "twice" SUFFIX));
  other.add("no_create", "twice" SUFFIX);
  SetDllDirectoryA(other.path().c_str());
  HMODULE second = load("twice" SUFFIX);
  EXPECT_EQ(second, first);
  EXPECT_NE(FreeLibrary(first), 0);
  EXPECT_NE(GetProcAddress(second, "Create"), nullptr);
  EXPECT_NE(FreeLibrary(second), 0);
  EXPECT_EQ(FreeLibrary(second), 0);
  EXPECT_EQ(GetProcAddress(second, "Create"), nullptr);
  EXPECT_EQ(fileOf(second), "");
  // A library of the program's own.
  HMODULE own = load(kOwnLibrary);
  EXPECT_NE(own, nullptr);
  EXPECT_NE(FreeLibrary(own), 0);
}

TEST_F(LoaderTest, TheSearchDirectoryServesWhatALibraryNeeds) {
  for (const char* name : {"top", "middle", "deep"}) folder.add(name);
  EXPECT_EQ(failureOf(folder.path("libtop" SUFFIX)).first, kNeededNotFound);
  SetDllDirectoryA(folder.path().c_str());
  HMODULE top = load("libtop" SUFFIX);
  ASSERT_NE(top, nullptr) << system_error_text(-1);
  EXPECT_EQ(reinterpret_cast<int (*)()>(reinterpret_cast<void*>(GetProcAddress(top, "top")))(), 3);
  // What it needs is not what it exports.
  EXPECT_EQ(GetProcAddress(top, "middle"), nullptr);
  EXPECT_NE(FreeLibrary(top), 0);
  for (const char* name : {"libtop" SUFFIX, "libmiddle" SUFFIX, "libdeep" SUFFIX}) {
    EXPECT_FALSE(isInProcess(name)) << name;
  }
}

TEST_F(LoaderTest, TellsWhatIsNotThereFromWhatCannotBeLoaded) {
  SetDllDirectoryA(folder.path().c_str());
  const std::string whole = test::contentsOf(folder.add("whole", "whole" SUFFIX));
  std::filesystem::create_directory(folder.path("folder" SUFFIX));
  folder.write("empty" SUFFIX, "");
  folder.write("text" SUFFIX, "no library at all");
  folder.write("cut" SUFFIX, whole.substr(0, 2000));

  const std::pair<std::string, DWORD> table[] = {
      {"missing" SUFFIX, 126},
      {folder.path("missing" SUFFIX), 126},
      {"C:\\missing\\folder\\missing" SUFFIX, 126},
      {"\\\\missing\\share\\missing" SUFFIX, 126},
      {folder.path("whole" SUFFIX "/x"), 126},
      {"", 126},
      {folder.path("folder" SUFFIX), 5},
      {"empty" SUFFIX, 193},
      {"text" SUFFIX, 193},
      {"cut" SUFFIX, 193},
  };
  for (const auto& [name, expected] : table) EXPECT_EQ(failureOf(name).first, expected) << name;
  // 193 has a place for the file's name in the text of Windows, which then gives none at all.
  EXPECT_NE(failureOf("missing" SUFFIX).second, "");

  EXPECT_EQ(FreeLibrary(nullptr), 0);
  EXPECT_EQ(GetLastError(), 6u);
}

TEST_F(LoaderTest, KeepsASearchDirectoryOfAnyLengthItHolds) {
  const std::string longest(32766, 'd');
  char none[2] = "x";
  EXPECT_EQ(GetDllDirectoryA(2, none), 0u);
  for (const std::string& directory : {std::string("d"), longest}) {
    SetLastError(77);
    EXPECT_NE(SetDllDirectoryA(directory.c_str()), 0);
    std::string block(directory.size() + 1, 'x');
    const auto size = static_cast<DWORD>(block.size());
    EXPECT_EQ(GetDllDirectoryA(size - 1, block.data()), size);
    EXPECT_EQ(GetDllDirectoryA(size, block.data()), size - 1);
    EXPECT_EQ(block.c_str(), directory);
    EXPECT_EQ(GetLastError(), 77u);
  }
  EXPECT_EQ(SetDllDirectoryA((longest + std::string(300, 'd')).c_str()), 0);
  EXPECT_EQ(GetLastError(), 87u);
  EXPECT_EQ(GetDllDirectoryA(1, none), longest.size() + 1);
  EXPECT_NE(SetDllDirectoryA(nullptr), 0);
  EXPECT_EQ(GetDllDirectoryA(2, none), 0u);
}

}  // namespace
}  // namespace OMB
