// The platform's loader, with real libraries.
#include <array>
#include <cstddef>

#if !defined(_WIN32)
#include <elf.h>
#endif

#include <gmock/gmock.h>

#include "fixture_files.h"
#include "platform/system_calls.h"
#include "platform/text.h"

namespace OMB {
namespace {

using testing::HasSubstr;

#if defined(_WIN32)
constexpr char kOwnLibrary[] = "kernel32.dll";
constexpr DWORD kNeededNotFound = 126;  // not told from a file that is not there itself
constexpr bool kSaysWhy = false;
#else
constexpr char kOwnLibrary[] = "libc.so.6";
constexpr DWORD kNeededNotFound = 1157;
constexpr bool kSaysWhy = true;
#endif

HMODULE load(const std::string& name) {
  return LoadLibraryW(to_wide(name).c_str());
}

std::string fileOf(HMODULE module) {
  std::array<wchar_t, 1024> block;
  const DWORD size = GetModuleFileNameW(module, block.data(), static_cast<DWORD>(block.size()));
  return to_utf8(std::wstring(block.data(), size));
}

// Expects a load to fail with this code, and its text to say this where the system says why.
void expectFailure(const std::string& name, DWORD code, const char* why = "") {
  EXPECT_EQ(load(name), nullptr) << name;
  EXPECT_EQ(GetLastError(), code) << name;
  EXPECT_THAT(system_error_text(-1), HasSubstr(kSaysWhy ? why : "")) << name;
}

// Leaves the process without a search directory.
struct LoaderTest : testing::Test {
  ~LoaderTest() override { SetDllDirectoryA(nullptr); }

  FixtureFolder folder;
};

TEST_F(LoaderTest, FindsAFileByItsPathAndByTheSearchDirectory) {
  const std::string name = "\xD0\xB6 \xE6\xBC\xA2" SUFFIX;
  const std::string path = folder.add("whole", name);
  HMODULE module = load(path);
  EXPECT_EQ(fileOf(module), path);
  EXPECT_NE(GetProcAddress(module, "Create"), nullptr);
  EXPECT_EQ(GetProcAddress(module, "create"), nullptr);
  EXPECT_EQ(GetLastError(), 127u);
  EXPECT_NE(FreeLibrary(module), 0);

  // Not in the process any more, and so to be searched for.
  expectFailure(name, ERROR_MOD_NOT_FOUND);
  for (const std::string& directory : {folder.path(), folder.path("."), folder.path() + "//"}) {
    EXPECT_NE(SetDllDirectoryA(directory.c_str()), 0);
    module = load(name);
    EXPECT_EQ(fileOf(module), path) << directory;
    EXPECT_NE(FreeLibrary(module), 0);
  }

  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  module = load("./" + name);
  std::filesystem::current_path(before);
  EXPECT_EQ(load(name), module);
  EXPECT_EQ(fileOf(module), path);
  EXPECT_TRUE(FreeLibrary(module) != 0 && FreeLibrary(module) != 0);
}

TEST_F(LoaderTest, AModuleInTheProcessComesBeforeAnyFolder) {
  const FixtureFolder other;
  HMODULE module = load(folder.add("whole", "twice" SUFFIX));
  other.add("no_create", "twice" SUFFIX);
  SetDllDirectoryA(other.path().c_str());
  EXPECT_EQ(load("twice" SUFFIX), module);
  EXPECT_NE(FreeLibrary(module), 0);
  EXPECT_NE(GetProcAddress(module, "Create"), nullptr);
  EXPECT_NE(FreeLibrary(module), 0);
  EXPECT_EQ(FreeLibrary(module), 0);
  EXPECT_EQ(GetProcAddress(module, "Create"), nullptr);
  EXPECT_EQ(fileOf(module), "");
  EXPECT_NE(FreeLibrary(load(kOwnLibrary)), 0);
}

TEST_F(LoaderTest, TheSearchDirectoryServesWhatALibraryNeeds) {
  for (const char* name : {"top", "middle", "deep"}) folder.add(name);
  expectFailure(folder.path("libtop" SUFFIX), kNeededNotFound);
  SetDllDirectoryA(folder.path().c_str());
  HMODULE top = load("libtop" SUFFIX);
  ASSERT_NE(top, nullptr) << system_error_text(-1);
  EXPECT_EQ(reinterpret_cast<int (*)()>(reinterpret_cast<void*>(GetProcAddress(top, "top")))(), 3);
  // What it needs is not what it exports.
  EXPECT_EQ(GetProcAddress(top, "middle"), nullptr);
  EXPECT_NE(FreeLibrary(top), 0);
  // None is left in the process, where it would be found.
  SetDllDirectoryA(nullptr);
  for (const char* name : {"libtop" SUFFIX, "libmiddle" SUFFIX, "libdeep" SUFFIX}) {
    expectFailure(name, ERROR_MOD_NOT_FOUND);
  }
}

TEST_F(LoaderTest, TellsWhatIsNotThereFromWhatCannotBeLoaded) {
  SetDllDirectoryA(folder.path().c_str());
  std::string whole = test::contentsOf(folder.add("whole", "whole" SUFFIX));
  std::filesystem::create_directory(folder.path("folder" SUFFIX));
  folder.write("text" SUFFIX, "no library at all");
  for (const std::string name : {"missing" SUFFIX, "C:\\missing\\folder\\missing" SUFFIX,
                                 "\\\\missing\\share\\missing" SUFFIX, ""}) {
    expectFailure(name, 126);
  }
  expectFailure(folder.path("missing" SUFFIX), 126);
  expectFailure(folder.path("whole" SUFFIX "/x"), 126);
  // Of the codes below Windows has no text that needs no file's name.
  EXPECT_NE(system_error_text(-1), "");
  expectFailure(folder.path("folder" SUFFIX), 5, "folder.so: not a file");
  expectFailure(folder.write("empty" SUFFIX, ""), 193, "empty.so: the file is not a library");
  expectFailure("text" SUFFIX, 193, "text.so: the file is not a library");
  expectFailure(folder.write("cut" SUFFIX, whole.substr(0, 2000)), 193, "the file is cut short");
#if !defined(_WIN32)
  whole[18] = 8;  // the machine
  folder.add("unresolved");
  folder.add("top");
  expectFailure(folder.write("foreign.so", whole), 193, "the library is for another machine");
  expectFailure("libunresolved.so", 1114, "nowhere");
  expectFailure("libtop.so", 1157, "libmiddle.so");

  // The reason is told where it lies, and for this failure only.
  folder.write("libmiddle.so", "no library at all");
  expectFailure("libtop.so", 193, "libmiddle.so: the file is not a library");
  EXPECT_THAT(system_error_text(126), Not(HasSubstr("libmiddle.so")));
  SetLastError(193);
  EXPECT_THAT(system_error_text(193), Not(HasSubstr("libmiddle.so")));
#endif
  EXPECT_EQ(FreeLibrary(nullptr), 0);
  EXPECT_EQ(GetLastError(), 6u);
}

TEST_F(LoaderTest, KeepsASearchDirectoryOfAnyLengthItHolds) {
  const std::string longest(32766, 'd');
  char none[2] = "x";
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

#if !defined(_WIN32)
TEST_F(LoaderTest, SurvivesFilesThatAreCutOrSpoilt) {
  const std::string whole = test::contentsOf(folder.add("whole"));
  // The end of a segment is not a small number because it is too great a one.
  for (std::size_t at = sizeof(Elf64_Ehdr); whole[at] == PT_LOAD; at += sizeof(Elf64_Phdr)) {
    for (const auto field : {offsetof(Elf64_Phdr, p_offset), offsetof(Elf64_Phdr, p_filesz)}) {
      std::string spoilt = whole;
      spoilt.replace(at + field, 8, 8, '\xFF');
      expectFailure(folder.write("spoilt.so", spoilt), 193, "the file is cut short");
    }
  }
  // Sections behind the last segment are not needed to load it.
  int sound = 0;
  for (std::size_t size = whole.size(); size > 97; size -= 97) {
    HMODULE module = load(folder.write("cut.so", whole.substr(0, size)));
    sound += FreeLibrary(module);
  }
  EXPECT_GT(sound, 0);
}
#endif

}  // namespace
}  // namespace OMB
