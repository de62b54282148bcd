// The system's loader and its search directory, with real libraries.
#include <cstddef>

#if defined(_WIN32)
#include <windows.h>
#else
#include <elf.h>
#include <sys/stat.h>
#endif

#include <gmock/gmock.h>

#include "fixture_files.h"
#include "platform/text.h"
#include "system/error_text.h"
#include "system/module.h"
#include "system/search_directory.h"
#include "system/text.h"

namespace OMB::system {
namespace {

using testing::HasSubstr;

#if defined(_WIN32)
constexpr char kOwnLibrary[] = "kernel32.dll";
constexpr std::uint32_t kNeededNotFound = 126;  // not told from a file that is not there itself
constexpr bool kSaysWhy = false;
#else
constexpr char kOwnLibrary[] = "libc.so.6";
constexpr std::uint32_t kNeededNotFound = 1157;
constexpr bool kSaysWhy = true;
#endif

Module open(const std::string& name) {
  return openModule(name.c_str()).module;
}

bool close(Module module) {
  return module != nullptr && closeModule(module).code == 0;
}

// Expects an opening to fail with this code, and its text to say this where the system says why.
void expectFailure(const std::string& name, std::uint32_t code, const char* why = "") {
  const Opened opened = openModule(name.c_str());
  EXPECT_EQ(opened.module, nullptr) << name;
  EXPECT_EQ(opened.failure.code, code) << name;
  EXPECT_THAT(opened.failure.text, HasSubstr(kSaysWhy ? why : "")) << name;
}

// Leaves the process without a search directory, and in the folder that it was in.
struct ModuleTest : testing::Test {
  ~ModuleTest() override {
    setSearchDirectory(nullptr);
    std::filesystem::current_path(before);
  }

  const std::filesystem::path before = std::filesystem::current_path();
  FixtureFolder folder;
};

TEST_F(ModuleTest, FindsAFileByItsPathAndByTheSearchDirectory) {
  const std::string name = "\xD0\xB6 \xE6\xBC\xA2" SUFFIX;
  const std::string path = folder.add("whole", name);
  Module module = open(path);
  EXPECT_EQ(moduleFile(module), path);
  EXPECT_NE(findSymbol(module, "Create"), nullptr);
  EXPECT_EQ(findSymbol(module, "create"), nullptr);
  EXPECT_TRUE(close(module));

  // Not in the process any more, and so to be searched for.
  expectFailure(name, 126);
  for (const std::string& directory : {folder.path(), folder.path("."), folder.path() + "//"}) {
    EXPECT_EQ(setSearchDirectory(directory.c_str()), 0u);
    module = open(name);
    EXPECT_EQ(moduleFile(module), path) << directory;
    EXPECT_TRUE(close(module));
  }

  std::filesystem::current_path(folder.path());
  module = open("./" + name);
  std::filesystem::current_path(before);
  EXPECT_EQ(open(name), module);
  EXPECT_EQ(moduleFile(module), path);
  EXPECT_TRUE(close(module) && close(module));
}

TEST_F(ModuleTest, AModuleInTheProcessComesBeforeAnyFolder) {
  const FixtureFolder other;
  const Module module = open(folder.add("whole", "twice" SUFFIX));
  other.add("no_create", "twice" SUFFIX);
  setSearchDirectory(other.path().c_str());
  EXPECT_EQ(open("twice" SUFFIX), module);
  EXPECT_TRUE(close(module));
  EXPECT_NE(findSymbol(module, "Create"), nullptr);
  EXPECT_TRUE(close(module));
  EXPECT_TRUE(close(open(kOwnLibrary)));
}

TEST_F(ModuleTest, TheSearchDirectoryServesNamesWithAFolder) {
  std::filesystem::create_directory(folder.path("sub"));
  const std::string name = "sub/inner" SUFFIX, path = folder.add("whole", name);
  expectFailure(name, 126);
  setSearchDirectory(folder.path().c_str());
  const Module module = open(name);
  EXPECT_EQ(std::filesystem::path(moduleFile(module)), std::filesystem::path(path));
  EXPECT_TRUE(close(module));
  setSearchDirectory(nullptr);
  std::filesystem::current_path(folder.path());
  EXPECT_TRUE(close(open(name)));
}

TEST_F(ModuleTest, TheSearchDirectoryServesWhatALibraryNeeds) {
  for (const char* name : {"top", "middle", "deep"}) folder.add(name);
  expectFailure(folder.path("libtop" SUFFIX), kNeededNotFound);
  setSearchDirectory(folder.path().c_str());
  const Module top = open("libtop" SUFFIX);
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(reinterpret_cast<int (*)()>(findSymbol(top, "top"))(), 3);
  // What it needs is not what it exports.
  EXPECT_EQ(findSymbol(top, "middle"), nullptr);
  EXPECT_TRUE(close(top));
  // None is left in the process, where it would be found.
  setSearchDirectory(nullptr);
  for (const char* name : {"libtop" SUFFIX, "libmiddle" SUFFIX, "libdeep" SUFFIX}) {
    expectFailure(name, 126);
  }
}

TEST_F(ModuleTest, TellsWhatIsNotThereFromWhatCannotBeLoaded) {
  setSearchDirectory(folder.path().c_str());
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
  EXPECT_NE(system_error_text(126), "");
  expectFailure(folder.path("folder" SUFFIX), 5, "folder.so: not a file");
  expectFailure(folder.write("empty" SUFFIX, ""), 193, "empty.so: the file is not a library");
  expectFailure("text" SUFFIX, 193, "text.so: the file is not a library");
  expectFailure(folder.write("cut" SUFFIX, whole.substr(0, 2000)), 193, "the file is cut short");
#if !defined(_WIN32)
  expectFailure("not: there", 126);  // the loader's own text has such a sign behind the name
  whole[18] = 8;                     // the machine
  folder.add("unresolved");
  folder.add("top");
  expectFailure(folder.write("foreign.so", whole), 193, "the library is for another machine");
  expectFailure("libunresolved.so", 1114, "nowhere");
  expectFailure("libtop.so", 1157, "libmiddle.so");
  // The reason is told where it lies.
  folder.write("libmiddle.so", "no library at all");
  expectFailure("libtop.so", 193, "libmiddle.so: the file is not a library");
  std::filesystem::remove(folder.path("libmiddle.so"));
  folder.add("whole", "libmiddle.so");
  expectFailure("libtop.so", 1157, "libmiddle.so: its soname is not libmiddle.so, so what");
#endif
}

TEST_F(ModuleTest, KeepsASearchDirectoryOfAnyLengthItHolds) {
  const std::string longest(32766, 'd');
  for (const std::string& directory : {std::string("d"), longest}) {
    EXPECT_EQ(setSearchDirectory(directory.c_str()), 0u);
    EXPECT_EQ(searchDirectory(), directory);
  }
  EXPECT_EQ(setSearchDirectory((longest + std::string(300, 'd')).c_str()), 87u);
  EXPECT_EQ(searchDirectory(), longest);
  EXPECT_EQ(setSearchDirectory(nullptr), 0u);
  EXPECT_EQ(searchDirectory(), std::nullopt);
}

TEST_F(ModuleTest, IsMappedFromItsOwnFileOnly) {
  const std::string path = folder.add("whole", "own" SUFFIX);
  const Module module = open(path);
  EXPECT_TRUE(isMappedFrom(module, OpenFile(path)));
  EXPECT_FALSE(isMappedFrom(module, OpenFile(folder.add("whole", "copy" SUFFIX))));
  EXPECT_FALSE(isMappedFrom(module, OpenFile(folder.path("missing" SUFFIX))));
  folder.takeAway("own" SUFFIX);
  EXPECT_TRUE(isMappedFrom(module, OpenFile(path + ".away"))) << "the same file";
  // Another of the name by which others find it: they may have found that one.
  const FixtureFolder other;
  const Module second = open(other.add("whole", "own" SUFFIX));
  EXPECT_FALSE(isMappedFrom(module, OpenFile(path + ".away")));
  EXPECT_TRUE(close(second));
  EXPECT_TRUE(isMappedFrom(module, OpenFile(path + ".away")));
  EXPECT_TRUE(close(module));
}

#if !defined(_WIN32)
TEST_F(ModuleTest, AnotherFileOfTheSameSonameIsNoticed) {
  const Module deep = open(folder.add("deep"));
  const OpenFile file(folder.path("libdeep.so"));
  EXPECT_TRUE(isMappedFrom(deep, file));
  const Module alias = open(folder.add("deep", "alias.so"));
  EXPECT_FALSE(isMappedFrom(deep, file));
  EXPECT_TRUE(close(alias) && close(deep));
}

TEST_F(ModuleTest, TellsPathsInTheSystemsOwnBytesAndLongOnesCut) {
  const std::string odd = folder.path() + "/\xFF\xC3 odd";
  std::filesystem::create_directory(odd);
  std::filesystem::copy_file(folder.add("whole", "x.so"), odd + "/x\xE9.so");
  setSearchDirectory(odd.c_str());
  Module module = open("x\xE9.so");
  EXPECT_EQ(moduleFile(module), odd + "/x\xE9.so");
  EXPECT_TRUE(isMappedFrom(module, OpenFile(moduleFile(module))));
  EXPECT_TRUE(close(module));

  std::string deep = folder.path();
  for (int depth = 0; depth < 3; ++depth) {
    deep += '/';
    for (int i = 0; i < 100; ++i) deep += "\u00E9";
    std::filesystem::create_directory(deep);
  }
  std::filesystem::copy_file(folder.path("x.so"), deep + "/x.so");
  module = open(deep + "/x.so");
  EXPECT_EQ(moduleFile(module), to_utf8(to_wide(deep).substr(0, 259))) << "cut between characters";
  EXPECT_TRUE(close(module));
}

TEST_F(ModuleTest, SurvivesFilesThatAreCutOrSpoilt) {
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
    sound += close(open(folder.write("cut.so", whole.substr(0, size))));
  }
  EXPECT_GT(sound, 0);
}
#endif

}  // namespace
}  // namespace OMB::system
