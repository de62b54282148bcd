// Library handles, their table and the search directory, over a loader that is scripted.
#include "ombrel/platform/library.h"

#include <memory>
#include <new>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ombrel/platform/load_library.h"

#include "library_suffix.h"
#include "loader_script.h"
#include "platform/library_table.h"
#include "platform/text.h"
#include "support.h"

namespace OMB {
namespace {

using testing::ElementsAre;

constexpr bool wideIsUtf16 = sizeof(wchar_t) == 2;

LoaderScript& script = loaderScript();  // every test begins with one of its own

TEST(Text, OfAnErrorCodeIsTheSystemsAndOfTheLastErrorForMinusOne) {
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
    // Windows counts the bytes of a start in a way of its own.
    EXPECT_EQ(replaced.size(), wideIsUtf16 ? std::max(replaced.size(), std::size_t{1}) : count);
    EXPECT_EQ(to_wide(std::string(bytes) + "x").back(), L'x');
  }
  EXPECT_EQ(to_utf8({wchar_t{0xD800}, L'x'}), "\xEF\xBF\xBDx");
  if (!wideIsUtf16) {  // a wide character of Windows cannot hold as much
    EXPECT_EQ(to_utf8({static_cast<wchar_t>(0x110000)}), "\xEF\xBF\xBD");
  }
}

TEST(Library, TriesTheNamesOfAFileInOrder) {
  const auto expectAttempts = [](const std::string& name, std::vector<std::string> attempts) {
    script = {};
    Library library(name);
    EXPECT_FALSE(library.load());
    for (std::string& attempt : attempts) attempt = "load " + attempt + " in ";
    EXPECT_EQ(script.calls, attempts);
    EXPECT_EQ(library.get_error_string(),
              "Cannot load library: '" + name + "' : " + system_error_text(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(library.get_file_name(), name);
  };
  expectAttempts("foo" SUFFIX, {"foo" SUFFIX, "libfoo" SUFFIX});
  expectAttempts("libfoo", {"libfoo" SUFFIX, "libfoo"});
  expectAttempts("libfoo" SUFFIX, {"libfoo" SUFFIX});
  expectAttempts("C:/p/foo" SUFFIX, {"C:/p/foo" SUFFIX, "libC:/p/foo" SUFFIX});
  for (const std::string name :
       {"foo", "LIBfoo.SO", "foo.DLL", "", "//s", "///s/f", "C:foo", "C:", "/p/foo", "\xC3\xA9"}) {
    expectAttempts(name, {name + SUFFIX, name, "lib" + name + SUFFIX, "lib" + name});
  }
  for (const std::string name : {"C:\\p\\foo", "\\\\s\\d\\f", "p/a:/b"}) {
    expectAttempts(name, {name, name + SUFFIX, "lib" + name, "lib" + name + SUFFIX});
  }
}

TEST(Library, AnyOtherFailureEndsTheAttempts) {
  script = {.results = {{L"foo", 193}, {L"libfoo" SUFFIX, 0}}};
  Library library("foo");
  EXPECT_FALSE(library.load());
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
  EXPECT_NE(library.get_method("there"), nullptr);
  EXPECT_EQ(library.get_method("not there"), nullptr);
  EXPECT_TRUE(library.unload());
  EXPECT_EQ(library.get_file_name(), "/where/it/is.so");
}

TEST(Library, HandlesOfOneNameShareOneModule) {
  script = {.results = {{L"a" SUFFIX, 0}, {L"A" SUFFIX, 0}}};
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

TEST(Library, TheLastHandleOfAFailedLibraryForgetsIt) {
  script = {};
  {
    const Library last("gone");
    EXPECT_FALSE(Library("gone").load());
    EXPECT_NE(last.get_error_string(), "");
    EXPECT_NE(Library("gone").get_error_string(), "");
  }
  EXPECT_EQ(Library("gone").get_error_string(), "");
}

TEST(Library, KeepsAModuleThatDoesNotCloseAndAPathAsFarAsTheBlockHoldsIt) {
  script = {
      .results = {{L"stuck" SUFFIX, 0}}, .closeResult = 5, .modulePath = std::wstring(300, L'x')};
  Library library("stuck");
  EXPECT_TRUE(library.load());
  EXPECT_EQ(library.get_file_name(), std::string(260, 'x'));
  EXPECT_FALSE(library.unload());
  EXPECT_TRUE(library.is_loaded());
  EXPECT_EQ(library.get_error_string(), "Cannot unload library: stuck : " + system_error_text(5));
  script.closeResult = 0;
  EXPECT_TRUE(library.load());
  EXPECT_THAT(script.calls, ElementsAre("load stuck" SUFFIX " in ", "free stuck" SUFFIX));
  EXPECT_TRUE(library.unload());
  EXPECT_EQ(library.get_error_string(), "");
  script.modulePath.clear();
  EXPECT_TRUE(library.load() && library.get_file_name() == "stuck" && library.unload());
}

TEST(Library, TheTableClosesInOrderWhatNobodyRefersTo) {
  script = {.results = {{L"a", 0}, {L"b", 0}, {L"c", 0}, {L"d", 0}}};
  std::shared_ptr<library_private> kept;
  {
    library_table table;
    for (const char* name : {"c", "d", "a", "b"}) {
      kept = table.find_or_create(name);
      EXPECT_TRUE(kept->open_handle());
      kept->load_count = 3;
    }
    table.find_or_create("closed");
    script.calls.clear();
  }
  EXPECT_THAT(script.calls, ElementsAre("free a", "free c", "free d"));
  EXPECT_EQ(kept->load_count, 3);
}

TEST(Library, ThreadsMakeAndEndHandlesFreely) {
  script = {};
  std::vector<std::jthread> threads;
  for (const std::string name : {"p", "q", "r", "s", "t", "u", "v", "w"}) {
    threads.emplace_back([name] {
      for (int i = 0; i < 200; ++i) {
        const Library shared("shared");
        Library own(name);
        EXPECT_FALSE(own.load() || own.is_loaded() || own.unload());
      }
    });
  }
}

// A search directory that can't be read counts as none; that it can't be put back changes nothing.
TEST(Library, TheSearchDirectoryIsBackAfterEveryLoad) {
  const std::string message =
      "Ombrel: Cannot load in. Cannot load library: 'in' : " + system_error_text(193) + "\n";
  for (const std::string& before : {std::string(), std::string("/b"), std::string(5000, 'b')}) {
    for (const DWORD result : {DWORD{0}, DWORD{193}, LoaderScript::throwsBadAlloc}) {
      for (const auto& [get, set] : {std::pair(0, 0), {1, 0}, {2, 0}, {0, 2}}) {  // that fails
        script = {.results = {{L"in" SUFFIX, result}}, .directory = before};
        script.failingGet = get;
        script.failingSet = set;
        Library library("in");
        SetLastError(ERROR_MOD_NOT_FOUND);  // of something else, long ago
        const auto printed = test::printedBy([&] {
          const auto load = [&] { return Utility::LoadLibraryA("/s", library); };
          if (result == LoaderScript::throwsBadAlloc) {
            EXPECT_THROW(load(), std::bad_alloc);
          } else {
            EXPECT_EQ(load(), result == 0);
          }
        });
        EXPECT_EQ(printed.out, result == 193 ? message : "");
        EXPECT_EQ(printed.error, "");
        EXPECT_EQ(script.calls[0] + ", " + script.calls[1], "set /s, load in" SUFFIX " in /s");
        const std::string after = get == 0 ? before : "";
        EXPECT_EQ(script.calls.back(), after.empty() ? "set nothing" : "set " + after);
        EXPECT_EQ(script.directory, set == 0 ? after : "/s");
        library.unload();
      }
    }
  }
}

TEST(Library, ARefusedDirectoryLeavesTheLibraryAlone) {
  script = {.directory = "/b", .failingSet = 1};
  Library library("in");
  const auto printed = test::printedBy([&] { EXPECT_FALSE(Utility::LoadLibraryA("/s", library)); });
  EXPECT_EQ(printed.error, "Could not set the search directory path! Error 87\n");
  EXPECT_EQ(printed.out, "");
  EXPECT_THAT(script.calls, ElementsAre("set /s"));
  EXPECT_FALSE(library.unload());
}

}  // namespace
}  // namespace OMB
