// Library handles, their table and the search directory, over a loader that is scripted.
#include "ombrel/platform/library.h"

#include <atomic>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ombrel/platform/load_library.h"

#include "library_suffix.h"
#include "loader_script.h"
#include "platform/library_table.h"
#include "platform/text.h"

namespace OMB {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

class LibraryTest : public testing::Test {
 protected:
  LibraryTest() { loaderScript() = {}; }

  LoaderScript& script = loaderScript();
};

TEST(Text, OfErrorCodes) {
  const std::pair<int, const char*> fixed[] = {{0, ""},
                                               {2, "No such file or directory"},
                                               {13, "Permission denied"},
                                               {24, "Too many open files"},
                                               {28, "No space left on device"},
                                               {77777, ""}};
  for (const auto& [code, text] : fixed) {
    EXPECT_EQ(system_error_text(code), text) << code;
    SetLastError(static_cast<DWORD>(code));
    EXPECT_EQ(system_error_text(-1), text) << code;
  }
  EXPECT_NE(system_error_text(5), "");
  EXPECT_NE(system_error_text(5), system_error_text(13));
}

TEST(Text, ConvertsUtf8AndReplacesWhatIsNotValid) {
  const std::string valid = std::string("a\0b", 3) + "\xC3\xA9\xD0\x96\xE6\xBC\xA2\xF0\x9F\x98\x80";
  const wchar_t wide[] = L"a\0b\u00E9\u0416\u6F22\U0001F600";  // the last is two on Windows
  EXPECT_EQ(to_wide(valid), std::wstring(wide, std::size(wide) - 1));
  EXPECT_EQ(to_utf8(to_wide(valid)), valid);
  EXPECT_EQ(to_utf8(L"") + to_utf8(to_wide("")), "");
  // Overlong, surrogate, above the last character, cut, stray: each longest valid start is one
  // character.
  const std::pair<const char*, std::size_t> invalid[] = {
      {"\xC0\x80", 2}, {"\xED\xA0\x80", 3}, {"\xF4\x90\x80\x80", 4},
      {"\xE6\xBC", 1}, {"\x80", 1},         {"\xF0\x9F\x98", 1},
      {"\xFF", 1}};
  for (const auto& [bytes, count] : invalid) {
    const std::wstring replaced = to_wide(bytes);
    EXPECT_THAT(replaced, testing::Each(L'\uFFFD'));
#if defined(_WIN32)  // which counts the bytes of a start in a way of its own
    EXPECT_GT(replaced.size(), 0u) << "of " << count;
#else
    EXPECT_EQ(replaced.size(), count) << testing::PrintToString(bytes);
#endif
    EXPECT_EQ(to_wide(std::string(bytes) + "x").back(), L'x');
  }
  EXPECT_EQ(to_utf8({wchar_t{0xD800}, L'x'}), "\xEF\xBF\xBDx");
  if (sizeof(wchar_t) > 2) {  // a wide character of Windows cannot hold as much
    EXPECT_EQ(to_utf8({static_cast<wchar_t>(0x110000)}), "\xEF\xBF\xBD");
  }
}

TEST_F(LibraryTest, TriesTheNamesOfAFileInOrder) {
  const std::vector<std::vector<std::string>> table = {
      // name, attempts
      {"foo", "foo" SUFFIX, "foo", "libfoo" SUFFIX, "libfoo"},
      {"foo" SUFFIX, "foo" SUFFIX, "libfoo" SUFFIX},
      {"libfoo", "libfoo" SUFFIX, "libfoo"},
      {"libfoo" SUFFIX, "libfoo" SUFFIX},
      {"LIBfoo.SO", "LIBfoo.SO" SUFFIX, "LIBfoo.SO", "libLIBfoo.SO" SUFFIX, "libLIBfoo.SO"},
      {"foo.DLL", "foo.DLL" SUFFIX, "foo.DLL", "libfoo.DLL" SUFFIX, "libfoo.DLL"},
      {"", SUFFIX, "", "lib" SUFFIX, "lib"},
      {"C:\\p\\foo", "C:\\p\\foo", "C:\\p\\foo" SUFFIX, "libC:\\p\\foo", "libC:\\p\\foo" SUFFIX},
      {"C:/p/foo" SUFFIX, "C:/p/foo" SUFFIX, "libC:/p/foo" SUFFIX},
      {"\\\\s\\d\\f", "\\\\s\\d\\f", "\\\\s\\d\\f" SUFFIX, "lib\\\\s\\d\\f",
       "lib\\\\s\\d\\f" SUFFIX},
      {"//s", "//s" SUFFIX, "//s", "lib//s" SUFFIX, "lib//s"},
      {"///s/f", "///s/f" SUFFIX, "///s/f", "lib///s/f" SUFFIX, "lib///s/f"},
      {"C:foo", "C:foo" SUFFIX, "C:foo", "libC:foo" SUFFIX, "libC:foo"},
      {"C:", "C:" SUFFIX, "C:", "libC:" SUFFIX, "libC:"},
      {"/p/foo", "/p/foo" SUFFIX, "/p/foo", "lib/p/foo" SUFFIX, "lib/p/foo"},
      {"p/a:/b", "p/a:/b", "p/a:/b" SUFFIX, "libp/a:/b", "libp/a:/b" SUFFIX},
      {"\xC3\xA9", "\xC3\xA9" SUFFIX, "\xC3\xA9", "lib\xC3\xA9" SUFFIX, "lib\xC3\xA9"}};
  for (const auto& row : table) {
    script = {};
    Library library(row[0]);
    EXPECT_FALSE(library.load());
    std::vector<std::string> expected;
    for (std::size_t i = 1; i < row.size(); ++i) expected.push_back("load " + row[i] + " in ");
    EXPECT_THAT(script.calls, ElementsAreArray(expected));
    EXPECT_EQ(library.get_error_string(),
              "Cannot load library: '" + row[0] + "' : " + system_error_text(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(library.get_file_name(), row[0]);
  }
}

TEST_F(LibraryTest, AnyOtherFailureEndsTheAttempts) {
  const wchar_t* attempts[] = {L"foo" SUFFIX, L"foo", L"libfoo" SUFFIX, L"libfoo"};
  for (std::size_t failing = 0; failing < 4; ++failing) {
    script = {.results = {{attempts[failing], 193}}};
    EXPECT_FALSE(Library("foo").load());
    EXPECT_EQ(script.calls.size(), failing + 1);
  }
  script = {};
  script.results = {{L"foo", 193}, {L"libfoo" SUFFIX, 0}};
  Library library("foo");
  EXPECT_FALSE(library.load());
  EXPECT_THAT(script.calls, ElementsAre("load foo" SUFFIX " in ", "load foo in "));
  EXPECT_EQ(library.get_error_string(), "Cannot load library: 'foo' : " + system_error_text(193));

  // Held, though it failed: nothing is tried until the load is given up.
  EXPECT_FALSE(library.load());
  EXPECT_EQ(script.calls.size(), 2u);
  EXPECT_FALSE(library.unload());
  script.results[L"foo"] = ERROR_MOD_NOT_FOUND;
  SetLastError(5);  // of something else, long ago
  EXPECT_TRUE(library.load());
  EXPECT_EQ(script.calls.size(), 5u);
  EXPECT_EQ(library.get_error_string(), "");
  EXPECT_EQ(library.get_file_name(), "/where/it/is.so");
  EXPECT_NE(library.get_method("there"), nullptr);
  EXPECT_EQ(library.get_method("not there"), nullptr);
  EXPECT_TRUE(library.unload());
  EXPECT_EQ(library.get_file_name(), "/where/it/is.so");
}

TEST_F(LibraryTest, HandlesOfOneNameShareOneModule) {
  script.results = {{L"a" SUFFIX, 0}, {L"A" SUFFIX, 0}};
  Library first("a" SUFFIX);
  {
    Library second("a" SUFFIX), other("A" SUFFIX);
    EXPECT_TRUE(first.load() && first.load() && second.load() && other.load());
    EXPECT_THAT(script.calls, ElementsAre("load a" SUFFIX " in ", "load A" SUFFIX " in "));
    EXPECT_FALSE(first.unload());
    EXPECT_TRUE(first.is_loaded());
    EXPECT_TRUE(second.unload());
    EXPECT_FALSE(second.unload());
    EXPECT_FALSE(first.is_loaded());
    EXPECT_TRUE(other.unload());
    EXPECT_TRUE(second.load());
  }
  // A load that was never given up stays, without any handle.
  EXPECT_FALSE(first.unload());
  Library late("a" SUFFIX);
  EXPECT_TRUE(late.is_loaded() && late.load());
  EXPECT_FALSE(late.unload());
  EXPECT_EQ(script.calls.back(), "load a" SUFFIX " in ");
}

TEST_F(LibraryTest, TheLastHandleOfAFailedLibraryForgetsIt) {
  auto first = std::make_unique<Library>("gone");
  auto second = std::make_unique<Library>("gone");
  EXPECT_FALSE(first->load());
  first.reset();
  EXPECT_NE(second->get_error_string(), "");
  EXPECT_NE(Library("gone").get_error_string(), "");
  second.reset();
  EXPECT_EQ(Library("gone").get_error_string(), "");
}

TEST_F(LibraryTest, KeepsAModuleThatDoesNotClose) {
  script = {.results = {{L"stuck" SUFFIX, 0}}, .closeResult = 5};
  Library library("stuck");
  EXPECT_TRUE(library.load());
  EXPECT_FALSE(library.unload());
  EXPECT_TRUE(library.is_loaded());
  EXPECT_EQ(library.get_error_string(), "Cannot unload library: stuck : " + system_error_text(5));
  script.closeResult = 0;
  EXPECT_TRUE(library.load());
  EXPECT_THAT(script.calls, ElementsAre("load stuck" SUFFIX " in ", "free stuck" SUFFIX));
  EXPECT_TRUE(library.unload());
  EXPECT_EQ(library.get_error_string(), "");
}

TEST_F(LibraryTest, PathsAreCutAtTheBlock) {
  script = {.results = {{L"long" SUFFIX, 0}}, .modulePath = std::wstring(300, L'x')};
  Library library("long");
  EXPECT_TRUE(library.load() && library.get_file_name() == std::string(260, 'x'));
  EXPECT_TRUE(library.unload());
  script.modulePath.clear();
  EXPECT_TRUE(library.load() && library.get_file_name() == "long");
  EXPECT_TRUE(library.unload());
}

TEST_F(LibraryTest, TheTableClosesInOrderWhatNobodyRefersTo) {
  std::shared_ptr<library_private> kept;
  {
    library_table table;
    for (const wchar_t* name : {L"c" SUFFIX, L"a" SUFFIX, L"b" SUFFIX, L"d" SUFFIX}) {
      script.results[name] = 0;
      const auto library = table.find_or_create(to_utf8(name));
      EXPECT_TRUE(library->open_handle());
      library->load_count = 3;
      if (library->file_name == "b" SUFFIX) kept = library;
    }
    table.find_or_create("closed");
    script.calls.clear();
  }
  EXPECT_THAT(script.calls, ElementsAre("free a" SUFFIX, "free c" SUFFIX, "free d" SUFFIX));
  EXPECT_EQ(kept->load_count, 3);
}

TEST_F(LibraryTest, ThreadsMakeAndEndHandlesFreely) {
  for (wchar_t name = L'p'; name < L'x'; ++name)
    script.results[std::wstring(1, name) + L"" SUFFIX] = 0;
  std::atomic<int> opened{0};
  std::vector<std::thread> threads;
  for (char name = 'p'; name < 'x'; ++name) {
    threads.emplace_back([name, &opened] {
      for (int i = 0; i < 200; ++i) {
        const Library shared("shared");
        Library own(std::string(1, name));
        opened += own.load() && own.is_loaded() && own.unload();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(opened, 1600);
}

// Every earlier directory, outcome of the load and error of earlier.
TEST_F(LibraryTest, TheSearchDirectoryIsBackAfterEveryLoad) {
  enum Outcome { opens, fails, throwsBadAlloc };
  for (const std::string& before : {std::string(), std::string("/b"), std::string(5000, 'b')}) {
    for (const Outcome outcome : {opens, fails, throwsBadAlloc}) {
      for (const DWORD stale : {DWORD{0}, ERROR_MOD_NOT_FOUND}) {
        script = {.throws = outcome == throwsBadAlloc, .directory = before};
        if (outcome == opens) script.results[L"in"] = 0;
        Library library("in");
        SetLastError(stale);
        CaptureStdout();
        if (outcome == throwsBadAlloc) {
          EXPECT_THROW(Utility::LoadLibraryA("/s", library), std::bad_alloc);
        } else {
          EXPECT_EQ(Utility::LoadLibraryA("/s", library), outcome == opens);
        }
        EXPECT_EQ(GetCapturedStdout(),
                  outcome != fails ? ""
                                   : "Ombrel: Cannot load in. Cannot load library: 'in' : " +
                                         system_error_text(ERROR_MOD_NOT_FOUND) + "\n");
        EXPECT_EQ(script.directory, before);
        EXPECT_EQ(script.calls[0] + ", " + script.calls[1], "set /s, load in" SUFFIX " in /s");
        EXPECT_EQ(script.calls.back(), before.empty() ? "set nothing" : "set " + before);
        library.unload();
      }
    }
  }
}

TEST_F(LibraryTest, ARefusedDirectoryLeavesTheLibraryAlone) {
  script = {.directory = "/b", .failingSet = 1};
  Library library("in");
  CaptureStdout();
  CaptureStderr();
  EXPECT_FALSE(Utility::LoadLibraryA("/s", library));
  EXPECT_EQ(GetCapturedStderr(), "Could not set the search directory path! Error 87\n");
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_THAT(script.calls, ElementsAre("set /s"));
  EXPECT_FALSE(library.unload());
}

// One that can't be read counts as none; that it can't be put back changes nothing.
TEST_F(LibraryTest, FailuresAroundALoadAreNotTold) {
  const std::tuple<int, int, const char*> table[] = {// get, set, the directory afterwards
                                                     {1, 0, ""},
                                                     {2, 0, ""},
                                                     {0, 2, "/s"}};
  for (const auto& [get, set, after] : table) {
    script = {.results = {{L"in", 0}}, .directory = "/b", .failingGet = get, .failingSet = set};
    Library library("in");
    CaptureStderr();
    EXPECT_TRUE(Utility::LoadLibraryA("/s", library));
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_EQ(script.directory, after);
    EXPECT_TRUE(library.unload());
  }
}

}  // namespace
}  // namespace OMB
