// What the loader of this layer says of files that are not sound, and how it holds out against
// them.
#include <cstddef>
#include <cstdio>
#include <elf.h>
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>

#include <gmock/gmock.h>

#include "loader_fixture.h"
#include "platform/posix/elf_needed.h"

namespace OMB {
namespace {

using testing::HasSubstr;

using PosixLoaderTest = LoaderTest;

TEST_F(PosixLoaderTest, SaysWhatIsWrongWithAFile) {
  SetDllDirectoryA(folder.path().c_str());
  const std::string whole = test::contentsOf(folder.add("whole", "whole.so"));
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
  }

  // The reason is told where it lies, and for this failure only.
  folder.write("libmiddle.so", "no library at all");
  EXPECT_THAT(failureOf("top.so").second, HasSubstr("libmiddle.so: the file is not a library"));
  EXPECT_THAT(system_error_text(126), Not(HasSubstr("libmiddle.so")));
  EXPECT_EQ(FreeLibrary(nullptr), 0);
  EXPECT_EQ(GetLastError(), 6u);
  for (const DWORD code : {6u, 193u}) {
    SetLastError(code);
    EXPECT_THAT(system_error_text(193), Not(HasSubstr("libmiddle.so")));
  }
}

TEST_F(PosixLoaderTest, SurvivesFilesThatAreCutOrSpoilt) {
  const std::string whole = test::contentsOf(folder.add("top", "top.so"));
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
  // The end of a segment is not a small number because it is too great a one.
  for (std::size_t at = sizeof(Elf64_Ehdr); whole[at] == PT_LOAD; at += sizeof(Elf64_Phdr)) {
    for (const auto field : {offsetof(Elf64_Phdr, p_offset), offsetof(Elf64_Phdr, p_filesz)}) {
      EXPECT_STREQ(examine(std::string(8, '\xFF'), at + field).fault, "the file is cut short");
      examine(whole);
    }
  }

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

}  // namespace
}  // namespace OMB
