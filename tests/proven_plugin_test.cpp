// A plug-in that is loaded from proven files only, and what somebody does to them in between.
#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include <gmock/gmock.h>

#include "ombrel/ombrel.h"

#include "file_digest.h"
#include "fixture_files.h"

namespace OMB {
namespace {

using test::digestOf;
using test::pathOf;
using test::printedBy;
using testing::HasSubstr;
namespace fs = std::filesystem;

/// Two libraries, under names that no other test has, and a list.
struct Package {
  explicit Package(const std::string& name) : plugin(name + SUFFIX), needed("n" + name + SUFFIX) {
    folder.add("whole", plugin);
    folder.add("whole", needed);
    folder.write("list", "list");
    manifest = {plugin, ".", "Initialize", "Create", ".m", {}, {{"list", {}}}, false};
    digest();
  }
  ~Package() { test::setVariable("OMBREL_TEST_TRAP", nullptr); }

  void digest() {
    manifest.dependencies.clear();
    for (const std::string& name : {plugin, needed}) {
      const auto size = static_cast<std::uint32_t>(fs::file_size(pathOf(folder.path(name))));
      manifest.dependencies.push_back({name, {{digestOf(folder.path(name)), 0, size}}});
    }
    manifest.files[0].sha256 = digestOf(folder.path("list"));
  }

  /// Puts a library that tells when it is opened in the place of a file.
  void setTrap(const std::string& name) const {
    test::setVariable("OMBREL_TEST_TRAP", folder.path("sprung").c_str());
    folder.add("trap", "new");
    fs::rename(pathOf(folder.path("new")), pathOf(folder.path(name)));
  }
  bool isSprung() const { return fs::exists(pathOf(folder.path("sprung"))); }

  PackageVerifier verify() const { return {folder.path(), manifest, {}}; }

  FixtureFolder folder;
  std::string plugin, needed;
  Manifest manifest;
};

int load(Plugin& plugin, const std::string& folder) {
  PluginManager manager;
  manager.SetPluginsDirectory(folder.c_str());
  return manager.Load(plugin);
}

TEST(ProvenPlugin, IsLoadedAsAnyOther) {
  const Package package("proven");
  std::unique_ptr<DynamicPlugin> plugin;
  {
    const PackageVerifier verifier = package.verify();
    EXPECT_TRUE(verifier.IsProven());
    plugin = verifier.MakePlugin();  // holds the files by itself
  }
  const auto printed =
      printedBy([&] { EXPECT_EQ(load(*plugin, package.folder.path()), PLUGIN_OK); });
  EXPECT_EQ(printed.out + printed.error, "");
  EXPECT_NE(plugin->GetCreateMethod(), nullptr);
}

TEST(ProvenPlugin, MapsNothingWhereSomethingIsNotAsItWasProven) {
  const struct {
    const char* name;
    std::function<void(Package&)> before, after;
    const char* error;
  } cases[] = {
      {"exchanged", {}, [](auto& p) { p.setTrap(p.plugin); }, "was changed after it was proven"},
      {"needed", {}, [](auto& p) { p.setTrap(p.needed); }, "was changed after it was proven"},
      {"removed", {}, [](auto& p) { p.folder.takeAway(p.needed); }, "was changed after"},
      {"list", {}, [](auto& p) { p.folder.write("list", "lisT"); }, "list. It was changed after"},
      {"unproven", [](auto& p) { p.setTrap(p.needed); }, {}, "Its package is not proven"},
  };
  for (const auto& [name, before, after, error] : cases) {
    SCOPED_TRACE(name);
    Package package(name);
    if (before) before(package);
    const PackageVerifier verifier = package.verify();
    const auto plugin = verifier.MakePlugin();
    if (after && test::kOnWindows) {  // where what is held cannot be changed
      EXPECT_THROW(fs::rename(pathOf(package.folder.path(package.needed)),
                              pathOf(package.folder.path("away"))),
                   fs::filesystem_error);
      continue;
    }
    if (after) after(package);
    const auto printed =
        printedBy([&] { EXPECT_EQ(load(*plugin, package.folder.path()), INTEGRITY_CHECK_FAILED); });
    EXPECT_THAT(printed.error, HasSubstr(error));
    EXPECT_FALSE(package.isSprung());
    EXPECT_FALSE(Library(package.plugin).is_loaded());
  }
}

TEST(ProvenPlugin, IsLoadedFromItsFolderOnly) {
  const Package package("elsewhere"), other("other");
  fs::copy_file(pathOf(other.folder.path(other.plugin)), pathOf(other.folder.path(package.plugin)));
  const auto plugin = package.verify().MakePlugin();
  const auto printed =
      printedBy([&] { EXPECT_EQ(load(*plugin, other.folder.path()), INTEGRITY_CHECK_FAILED); });
  EXPECT_THAT(printed.error, HasSubstr("that was proven"));
  EXPECT_FALSE(Library(package.plugin).is_loaded());
}

TEST(ProvenPlugin, BringsNoLibraryThatIsNotListed) {
  Package package("lists");
  for (const char* name : {"top", "middle", "deep"}) package.folder.add(name);
  package.plugin = "libtop" SUFFIX;
  package.needed = "libmiddle" SUFFIX;
  package.manifest.name = package.plugin;
  package.digest();
  const auto plugin = package.verify().MakePlugin();
  const auto printed =
      printedBy([&] { EXPECT_EQ(load(*plugin, package.folder.path()), INTEGRITY_CHECK_FAILED); });
  EXPECT_THAT(printed.error, HasSubstr("libdeep" SUFFIX " is mapped from its folder, and not"));
}

#if defined(__linux__)
std::int64_t bytesReadSoFar() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  std::int64_t count = 0;
  counters >> name >> count;
  EXPECT_EQ(name, "rchar:");
  return count;
}

TEST(ProvenPlugin, ReadsNoFileAgainThatStayedAsItWas) {
  Package package("settled");
  constexpr std::size_t kBytes = std::size_t{8} << 20;
  std::ofstream(package.folder.path(package.needed), std::ios::app) << std::string(kBytes, 'x');
  package.digest();
  std::this_thread::sleep_for(std::chrono::milliseconds(2100));  // changed no longer a moment ago
  const auto plugin = package.verify().MakePlugin();
  const std::int64_t before = bytesReadSoFar();
  EXPECT_EQ(load(*plugin, package.folder.path()), PLUGIN_OK);
  EXPECT_LT(bytesReadSoFar() - before, std::int64_t{kBytes} / 2);

  // Bytes that are changed and changed back are another change, and are read.
  std::fstream(package.folder.path(package.needed), std::ios::in | std::ios::out) << '\x7f';
  EXPECT_EQ(load(*plugin, package.folder.path()), PLUGIN_OK);
  EXPECT_GT(bytesReadSoFar() - before, std::int64_t{kBytes});
}

// Somebody who may write to the folder exchanges the plug-in all the time: what is accepted is
// always the good one, whatever was mapped. The exchanges keep step with how long a load takes
// here, so that some loads meet one, and some none, on a slow machine, too.
TEST(ProvenPlugin, IsTheGoodOneInARaceOfRenames) {
  constexpr std::size_t kAlone = 5, kLoads = 1000;
  const FixtureFolder folder;
  const std::string good = folder.add("whole"), bad = folder.add("no_create");
  const auto size = static_cast<std::uint32_t>(fs::file_size(good));
  Manifest manifest = {"", ".", "Initialize", "Create", "", {{"", {{digestOf(good), 0, size}}}}};
  std::size_t accepted = 0, hostile = 0;
  const auto loadOne = [&](const std::string& own) {
    const auto plugin = PackageVerifier(own, manifest, {}).MakePlugin();
    printedBy([&] {
      if (load(*plugin, own) != PLUGIN_OK) return;
      ++accepted;
      hostile += plugin->GetCreateMethod() == nullptr;
    });
  };
  std::vector<std::string> places(kLoads);
  std::atomic<const std::string*> target = nullptr;
  auto shortest = std::chrono::steady_clock::duration::max();
  std::atomic<unsigned long> pause = 0;  // between two exchanges, at most, in microseconds
  std::jthread attacker([&](const std::stop_token& stop) {
    std::minstd_rand random;
    for (bool turn = true; !stop.stop_requested(); turn = !turn) {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % (pause + 1)));
      const std::string* place = target;
      if (place == nullptr) continue;
      fs::create_hard_link(turn ? bad : good, *place + ".new");
      fs::rename(*place + ".new", *place);
    }
  });
  for (std::size_t i = 0; i < kLoads; ++i) {
    const std::string own = folder.path(std::to_string(i));
    manifest.name = manifest.dependencies[0].name = "race" + std::to_string(i) + SUFFIX;
    fs::create_directory(own);
    places[i] = own + "/" + manifest.name;
    fs::copy_file(good, places[i]);
    if (i == kAlone) {
      EXPECT_EQ(accepted, kAlone);
      pause = static_cast<unsigned long>(4 * shortest / std::chrono::microseconds(1));
    }
    if (i >= kAlone) target = &places[i];
    const auto start = std::chrono::steady_clock::now();
    loadOne(own);
    shortest = std::min(shortest, std::chrono::steady_clock::now() - start);
  }
  EXPECT_EQ(hostile, 0U);
  EXPECT_GT(accepted, kAlone);
  EXPECT_LT(accepted, kLoads);
  std::printf("%zu of %zu loads were accepted\n", accepted, kLoads);
}
TEST(PackageVerifier, WarnsOfWhatOtherUsersMayChange) {
  using enum EPackageFault;
  const Package package("rights");
  const auto allow = [&](const std::string& name, fs::perms more) {
    fs::permissions(package.folder.path(name), more, fs::perm_options::add);
  };
  for (const std::string& name : {package.plugin, package.needed, std::string("list")}) {
    fs::permissions(package.folder.path(name), fs::perms::owner_read | fs::perms::owner_write);
  }
  fs::permissions(package.folder.path(), fs::perms::owner_all);
  EXPECT_THAT(package.verify().GetWarnings(), testing::IsEmpty());

  package.folder.add("trap", "libz" SUFFIX ".1");
  package.folder.write("notes.soup", "");
  EXPECT_THAT(package.verify().GetWarnings(),
              testing::ElementsAre(PackageFinding{"libz" SUFFIX ".1", EXTRA_LIBRARY}));
  fs::remove(package.folder.path("libz" SUFFIX ".1"));

  allow(package.needed, fs::perms::group_write);
  allow("list", fs::perms::others_write);
  EXPECT_THAT(package.verify().GetWarnings(),
              testing::UnorderedElementsAre(PackageFinding{package.needed, OPEN_TO_OTHERS},
                                            PackageFinding{"list", OPEN_TO_OTHERS}));
  EXPECT_TRUE(package.verify().IsProven());
  for (const std::string& name : {package.needed, std::string("list")}) {
    fs::permissions(package.folder.path(name), fs::perms::owner_read);
  }
  // Where everybody may add files, also if only their owner may take one away.
  allow("", fs::perms::others_write | fs::perms::sticky_bit);
  EXPECT_THAT(package.verify().GetWarnings(),
              testing::ElementsAre(PackageFinding{package.folder.path(), OPEN_TO_OTHERS}));
}
#endif

}  // namespace
}  // namespace OMB
