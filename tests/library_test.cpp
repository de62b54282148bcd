// Library handles, their table and the search directory, over a loader that is scripted.
#include "ombrel/platform/library.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <random>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#endif

#include <gmock/gmock.h>

#include "ombrel/platform/crypto.h"
#include "ombrel/platform/load_library.h"
#include "ombrel/plugin/hash_checker.h"

#include "library_suffix.h"
#include "loader_script.h"
#include "platform/library_table.h"
#include "platform/text.h"
#include "support.h"
#include "system/open_file.h"
#include "system/text.h"

namespace OMB {
namespace {

using system::to_utf8;
using system::to_wide;
using testing::ElementsAre;

constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

LoaderScript& script = loaderScript();  // every test begins with one of its own

void setLastError(int code) {
#if defined(_WIN32)
  SetLastError(static_cast<DWORD>(code));
#else
  errno = code;
#endif
}

TEST(Text, OfAnErrorCodeIsTheSystemsAndOfTheLastErrorForMinusOne) {
  const std::pair<int, const char*> fixed[] = {{0, ""},
                                               {2, "No such file or directory"},
                                               {13, "Permission denied"},
                                               {24, "Too many open files"},
                                               {28, "No space left on device"},
                                               {77777, ""}};
  for (const auto& [code, text] : fixed) {
    EXPECT_EQ(system_error_text(code), text) << code;
    setLastError(code);
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
      {"\xC0\x80", 2},     {"\xE0\x9F\xBF", 3},     {"\xF0\x8F\xBF\xBF", 4},
      {"\xED\xA0\x80", 3}, {"\xF4\x90\x80\x80", 4}, {"\xE6\xBC", 1},
      {"\x80", 1},         {"\xF0\x9F\x98", 1},     {"\xFF", 1}};
  for (const auto& [bytes, count] : invalid) {
    const std::wstring replaced = to_wide(bytes);
    EXPECT_THAT(replaced, testing::Each(L'\uFFFD'));
    // Windows counts the bytes of a start in a way of its own.
    EXPECT_EQ(replaced.size(), kWideIsUtf16 ? std::max(replaced.size(), std::size_t{1}) : count);
    EXPECT_EQ(to_wide(std::string(bytes) + "x").back(), L'x');
  }
  EXPECT_EQ(to_utf8({wchar_t{0xD800}, L'x'}), "\xEF\xBF\xBDx");
  if (!kWideIsUtf16) {  // a wide character of Windows cannot hold as much
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
              "Cannot load library: '" + name + "' : " + system_error_text(126));
    EXPECT_EQ(library.get_file_name(), name);
  };
  expectAttempts("foo" SUFFIX, {"foo" SUFFIX, "libfoo" SUFFIX});
  expectAttempts("libfoo", {"libfoo" SUFFIX, "libfoo"});
  expectAttempts("libfoo" SUFFIX, {"libfoo" SUFFIX});
  expectAttempts("C:/p/foo" SUFFIX, {"C:/p/foo" SUFFIX, "libC:/p/foo" SUFFIX});
  for (const std::string name :
       {"foo", "LIBfoo.SO", "foo.DL", "", "//s", "///s/f", "C:foo", "C:", "/p/foo", "\xC3\xA9"}) {
    expectAttempts(name, {name + SUFFIX, name, "lib" + name + SUFFIX, "lib" + name});
  }
  for (const std::string name : {"C:\\p\\foo", "\\\\s\\d\\f", "p/a:/b"}) {
    expectAttempts(name, {name, name + SUFFIX, "lib" + name, "lib" + name + SUFFIX});
  }
}

TEST(Library, AnyOtherFailureEndsTheAttempts) {
  script = {.results = {{"foo", 193}, {"libfoo" SUFFIX, 0}}};
  Library library("foo");
  EXPECT_FALSE(library.load());
  EXPECT_EQ(library.get_error_string(), "Cannot load library: 'foo' : " + system_error_text(193));

  // Held, though it failed: nothing is tried until the load is given up.
  EXPECT_FALSE(library.load());
  EXPECT_EQ(script.calls.size(), 2u);
  EXPECT_FALSE(library.unload());
  script.results["foo"] = 126;
  EXPECT_TRUE(library.load());
  EXPECT_EQ(script.calls.size(), 5u);
  EXPECT_EQ(library.get_error_string(), "");
  EXPECT_NE(library.get_method("there"), nullptr);
  EXPECT_EQ(library.get_method("not there"), nullptr);
  EXPECT_TRUE(library.unload());
  EXPECT_EQ(library.get_file_name(), "/where/it/is.so");
}

TEST(Library, HandlesOfOneNameShareOneModule) {
  script = {.results = {{"a" SUFFIX, 0}, {"A" SUFFIX, 0}}};
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

TEST(Library, KeepsAModuleThatDoesNotClose) {
  script = {.results = {{"stuck" SUFFIX, 0}}, .closeResult = 5};
  Library library("stuck");
  EXPECT_TRUE(library.load());
  EXPECT_FALSE(library.unload());
  EXPECT_TRUE(library.is_loaded());
  EXPECT_EQ(library.get_error_string(), "Cannot unload library: stuck : " + system_error_text(5));
  EXPECT_TRUE(library.load());
  script.text = "why";  // the loader's own words go before those of the code
  EXPECT_FALSE(library.unload());
  EXPECT_EQ(library.get_error_string(), "Cannot unload library: stuck : why");
  script.closeResult = 0;
  EXPECT_TRUE(library.load());
  EXPECT_THAT(script.calls,
              ElementsAre("load stuck" SUFFIX " in ", "free stuck" SUFFIX, "free stuck" SUFFIX));
  EXPECT_TRUE(library.unload());
  EXPECT_EQ(library.get_error_string(), "");
  script.modulePath.clear();
  EXPECT_TRUE(library.load() && library.get_file_name() == "stuck" && library.unload());
}

TEST(Library, TheTableClosesInOrderWhatNobodyRefersTo) {
  script = {.results = {{"a", 0}, {"b", 0}, {"c", 0}, {"d", 0}}};
  library_table table;
  std::shared_ptr<library_private> kept;
  for (const char* name : {"c", "d", "a", "b"}) {
    kept = table.find_or_create(name);
    EXPECT_TRUE(kept->open_handle());
    kept->load_count = 3;
  }
  table.find_or_create("closed");
  script.calls.clear();
  table.close();
  EXPECT_THAT(script.calls, ElementsAre("free a for good", "free c for good", "free d for good"));
  EXPECT_EQ(kept->load_count, 3);
  // Who comes later finds a table that works.
  EXPECT_EQ(table.find_or_create("b"), kept);
  EXPECT_EQ(table.find_or_create("a")->handle, nullptr);
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
    for (const std::uint32_t result : {0u, 193u, LoaderScript::kThrowsBadAlloc}) {
      for (const auto& [unreadable, set] : {std::pair(false, 0), {true, 0}, {false, 2}}) {
        script = {.results = {{"in" SUFFIX, result}}, .directory = before};
        script.unreadable = unreadable;
        script.failingSet = set;
        Library library("in");
        const auto printed = test::printedBy([&] {
          const auto load = [&] { return Utility::LoadLibraryA("/s", library); };
          if (result == LoaderScript::kThrowsBadAlloc) {
            EXPECT_THROW(load(), std::bad_alloc);
          } else {
            EXPECT_EQ(load(), result == 0);
          }
        });
        EXPECT_EQ(printed.out, result == 193 ? message : "");
        EXPECT_EQ(printed.error, "");
        EXPECT_EQ(script.calls[0] + ", " + script.calls[1], "set /s, load in" SUFFIX " in /s");
        const std::string after = unreadable ? "" : before;
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

// Whatever else is right: the name, the size, and that it is this file that is mapped.
TEST(HashChecker, OneByteAtAThousandPlacesIsRefused) {
  const test::TemporaryDirectory folder;
  std::mt19937 random(4711);
  std::string whole(20000, '\0');
  std::ranges::generate(whole, [&] { return static_cast<char>(random()); });
  script = {.results = {{"changed" SUFFIX, 0}}, .modulePath = folder.write("file", whole)};
  const auto size = static_cast<std::uint32_t>(whole.size());
  Repository<Dependency> listed;
  listed.Add(
      {"changed",
       {{Crypto::hashBuffer(reinterpret_cast<unsigned char*>(whole.data()), static_cast<int>(size)),
         0, size}}});
  const auto check = [&] { return HashChecker().Check(listed, "anywhere"); };
  EXPECT_EQ(check(), PLUGIN_OK);
  int refused = 0;
  for (int i = 0; i < 1000; ++i) {
    std::string changed = whole;
    changed[random() % size] ^= static_cast<char>(1 + random() % 255);
    folder.write("file", changed);
    test::printedBy([&] { refused += check() == INTEGRITY_CHECK_FAILED; });
  }
  EXPECT_EQ(refused, 1000);

  folder.write("file", whole);
  script.isMapped = false;
  const auto printed = test::printedBy([&] { EXPECT_EQ(check(), INTEGRITY_CHECK_FAILED); });
  EXPECT_EQ(printed.error,
            "Ombrel: Cannot load " + script.modulePath + ". Integrity check failed.\n");
}

// In pieces, which no digest shows.
TEST(HashChecker, RangesLieAnywhereInAFileOfSeveralPieces) {
  const test::TemporaryDirectory folder;
  constexpr std::uint32_t kPiece = system::OpenFile::kPiece;
  for (const std::uint32_t size : {kPiece - 1, kPiece, kPiece + 1, 3 * kPiece + 7}) {
    std::string whole(size, '\0');
    std::ranges::generate(whole, std::minstd_rand(size));
    script = {.results = {{"large" SUFFIX, 0}}, .modulePath = folder.write("file", whole)};
    const auto range = [&](std::uint32_t begin, std::uint32_t end) {
      auto* const bytes = reinterpret_cast<unsigned char*>(whole.data());
      return HashRange{Crypto::hashBuffer(bytes + begin, static_cast<int>(end - begin)), begin,
                       end - begin};
    };
    const auto passes = [](const std::vector<HashRange>& ranges) {
      Repository<Dependency> listed;
      listed.Add({"large", ranges});
      return HashChecker().Check(listed, "anywhere") == PLUGIN_OK;
    };
    HashRange wrong = range(0, size);
    std::get<0>(wrong)[31] ^= 1;
    for (const HashRange& right : {range(0, size), range(size - 1, size), range(size, size),
                                   range(kPiece - 2, size), range(9, kPiece - 1)}) {
      EXPECT_TRUE(passes({right})) << size;
      EXPECT_TRUE(passes({wrong, right})) << size;
    }
  }
}

}  // namespace
}  // namespace OMB
