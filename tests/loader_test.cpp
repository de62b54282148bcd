// The platform layer's loader, with real libraries.
#include <array>
#include <cstddef>
#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <unistd.h>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixture_files.h"
#include "platform/posix/elf_needed.h"
#include "platform/posix/posix_calls.h"
#include "platform/text.h"

namespace OMB {
namespace {

using testing::HasSubstr;

HMODULE load(const std::string& name) {
  return LoadLibraryW(to_wide(name).c_str());
}

std::string fileOf(HMODULE module) {
  std::array<wchar_t, 1024> block;
  const DWORD size = GetModuleFileNameW(module, block.data(), static_cast<DWORD>(block.size()));
  return to_utf8(std::wstring(block.data(), size));
}

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool isInProcess(const std::string& name) {
  void* module = dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (module != nullptr) dlclose(module);
  return module != nullptr;
}

class LoaderTest : public testing::Test {
 protected:
  ~LoaderTest() override { SetDllDirectoryA(nullptr); }

  // The code and the text of a load that must fail.
  std::pair<DWORD, std::string> failureOf(const std::string& name) {
    HMODULE module = load(name);
    EXPECT_EQ(module, nullptr) << name;
    if (module != nullptr) FreeLibrary(module);
    return {GetLastError(), system_error_text(-1)};
  }

  FixtureFolder folder;
};

TEST_F(LoaderTest, FindsAFileByItsPathAndByTheSearchDirectory) {
  const std::string name = "\xD0\xB6 \xE6\xBC\xA2.so";
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
  EXPECT_NE(FreeLibrary(relative), 0);
}

TEST_F(LoaderTest, AModuleInTheProcessComesBeforeAnyFolder) {
  const FixtureFolder other;
  HMODULE first = load(folder.add("whole", "twice.so"));
  other.add("no_create", "twice.so");
  SetDllDirectoryA(other.path().c_str());
  HMODULE second = load("twice.so");
  EXPECT_EQ(second, first);
  EXPECT_NE(FreeLibrary(first), 0);
  EXPECT_NE(GetProcAddress(second, "Create"), nullptr);
  EXPECT_NE(FreeLibrary(second), 0);
  EXPECT_EQ(FreeLibrary(second), 0);
  EXPECT_EQ(GetLastError(), 6u);
  EXPECT_EQ(GetProcAddress(second, "Create"), nullptr);
  EXPECT_EQ(fileOf(second), "");
  // A library of the program's own.
  HMODULE own = load("libc.so.6");
  EXPECT_NE(own, nullptr);
  EXPECT_NE(FreeLibrary(own), 0);
}

TEST_F(LoaderTest, TheSearchDirectoryServesWhatALibraryNeeds) {
  for (const char* name : {"top", "middle", "deep"}) folder.add(name);
  EXPECT_EQ(failureOf(folder.path("libtop.so")).first, 1157u);
  SetDllDirectoryA(folder.path().c_str());
  HMODULE top = load("libtop.so");
  ASSERT_NE(top, nullptr) << system_error_text(-1);
  EXPECT_EQ(reinterpret_cast<int (*)()>(GetProcAddress(top, "top"))(), 3);
  // What it needs is not what it exports.
  EXPECT_EQ(GetProcAddress(top, "middle"), nullptr);
  EXPECT_NE(FreeLibrary(top), 0);
  for (const char* name : {"libtop.so", "libmiddle.so", "libdeep.so"}) {
    EXPECT_FALSE(isInProcess(name)) << name;
  }
}

TEST_F(LoaderTest, TellsWhatIsNotThereFromWhatCannotBeLoaded) {
  SetDllDirectoryA(folder.path().c_str());
  const std::string whole = contentOf(folder.add("whole", "whole.so"));
  std::string foreign = whole;
  foreign[18] = 8;  // the machine
  std::filesystem::create_directory(folder.path("folder.so"));
  folder.write("empty.so", "");
  folder.write("text.so", "no library at all");
  folder.write("cut.so", whole.substr(0, 2000));
  folder.write("foreign.so", foreign);
  folder.add("unresolved", "unresolved.so");
  folder.add("top", "top.so");

  const struct {
    std::string name;
    DWORD code;
    std::string text;  // in what is said
  } table[] = {
      {"missing.so", 126, ""},
      {folder.path("missing.so"), 126, ""},
      {folder.path("whole.so/x"), 126, ""},
      {"folder.so", 126, ""},
      {"", 126, ""},
      {folder.path("folder.so"), 5, "folder.so: not a file"},
      {"empty.so", 193, "empty.so: the file is not a library"},
      {"text.so", 193, "text.so: the file is not a library"},
      {"cut.so", 193, "cut.so: the file is cut short"},
      {"foreign.so", 193, "foreign.so: the library is for another machine"},
      {"unresolved.so", 1114, "nowhere"},
      {"top.so", 1157, "libmiddle.so"},
  };
  for (const auto& row : table) {
    const auto [code, text] = failureOf(row.name);
    EXPECT_EQ(code, row.code) << row.name;
    EXPECT_THAT(text, HasSubstr(row.text)) << row.name;
    EXPECT_NE(text, "") << row.name;
  }

  // The reason is told where it lies, and for this failure only.
  folder.write("libmiddle.so", "no library at all");
  EXPECT_THAT(failureOf("top.so").second, HasSubstr("libmiddle.so: the file is not a library"));
  EXPECT_EQ(FreeLibrary(nullptr), 0);
  EXPECT_EQ(GetLastError(), 6u);
  EXPECT_THAT(system_error_text(193), Not(HasSubstr("libmiddle.so")));
}

TEST_F(LoaderTest, SurvivesFilesThatAreCutOrSpoilt) {
  const std::string whole = contentOf(folder.add("top", "top.so"));
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  const int descriptor = fileno(file.get());
  const auto examine = [&](const std::string& bytes, std::size_t at = 0) {
    EXPECT_EQ(pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(at)), bytes.size());
    return posix::readLibraryFile(descriptor);
  };
  EXPECT_EQ(examine(whole).fault, nullptr);
  EXPECT_THAT(examine(whole).needed, testing::Contains("libmiddle.so"));
  // Headers, and wherever the dynamic section is.
  for (std::size_t at = 0; at + 8 < whole.size(); at += at < 1024 ? 1 : 8) {
    for (const char value : {'\x7F', '\xFF'}) examine(std::string(8, value), at);
    examine(whole.substr(at, 8), at);
  }
  EXPECT_EQ(examine(whole).fault, nullptr);

  int sound = 0;
  for (std::size_t size = whole.size(); size > 97; size -= 97) {
    EXPECT_EQ(ftruncate(descriptor, static_cast<off_t>(size)), 0);
    if (posix::readLibraryFile(descriptor).fault != nullptr) continue;
    // Sections behind the last segment are not needed to load it.
    ++sound;
    HMODULE module = load(folder.write("spoilt.so", whole.substr(0, size)));
    if (module != nullptr) FreeLibrary(module);
  }
  EXPECT_GT(sound, 0);
}

TEST_F(LoaderTest, KeepsASearchDirectoryOfAnyLengthItHolds) {
  const std::string longest(32767, 'd');
  EXPECT_EQ(GetDllDirectoryA(0, nullptr), 0u);
  for (const std::string& directory : {std::string("d"), longest}) {
    SetLastError(77);
    EXPECT_NE(SetDllDirectoryA(directory.c_str()), 0);
    std::string block(directory.size() + 1, 'x');
    const auto size = static_cast<DWORD>(block.size());
    EXPECT_EQ(GetDllDirectoryA(size - 1, block.data()), size);
    EXPECT_EQ(block[0], 'x');
    EXPECT_EQ(GetDllDirectoryA(size, block.data()), size - 1);
    EXPECT_EQ(block.c_str(), directory);
    EXPECT_EQ(GetLastError(), 77u);
  }
  EXPECT_EQ(SetDllDirectoryA((longest + "d").c_str()), 0);
  EXPECT_EQ(GetLastError(), 87u);
  EXPECT_EQ(GetDllDirectoryA(0, nullptr), longest.size() + 1);
  EXPECT_NE(SetDllDirectoryA(nullptr), 0);
  EXPECT_EQ(GetDllDirectoryA(0, nullptr), 0u);
}

}  // namespace
}  // namespace OMB
