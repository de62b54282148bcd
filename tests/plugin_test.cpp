// Dependencies and their digests, plug-ins and their manager, with real libraries.
#include <algorithm>
#include <atomic>
#include <barrier>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ombrel/ombrel.h"

#include "fixture_files.h"

namespace OMB {
namespace {

using testing::EndsWith;
using testing::StartsWith;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

// A code, and what was printed to the two streams on the way.
struct Answer {
  int code;
  std::string out, error;
};

template <typename Call>
Answer capture(Call call) {
  CaptureStdout();
  CaptureStderr();
  const int code = call();
  return {code, GetCapturedStdout(), GetCapturedStderr()};
}

HashRange digestOf(const std::string& path, std::uint32_t offset, std::uint32_t length) {
  ByteVector file(std::filesystem::file_size(path));
  Utility::readAllFile(path, file.data(), file.size());
  return {Crypto::hashBuffer(file.data() + offset, static_cast<int>(length)), offset, length};
}

HashRange digestOf(const std::string& path) {
  return digestOf(path, 0, static_cast<std::uint32_t>(std::filesystem::file_size(path)));
}

Repository<Dependency> repository(const std::vector<Dependency>& dependencies) {
  Repository<Dependency> result;
  for (const Dependency& dependency : dependencies) result.Add(dependency);
  return result;
}

bool isLoaded(const std::string& name) {
  return Library(name).is_loaded();
}

class PluginTest : public testing::Test {
 protected:
  static int check(const Repository<Dependency>& dependencies, const std::string& directory) {
    return HashChecker().Check(dependencies, directory);
  }
  static int initialized() { return fixtureCount("FIXTURE_INITIALIZED"); }

  Repository<Dependency> none;
  FixtureFolder folder;
};

TEST(Dependency, CopiesAndMoves) {
  const HashRange range{ByteVector(32, 1), 2, 3};
  Dependency source("a name that is too long to be kept inside the string", {range});
  source.GetHash().clear();
  Dependency& same = source;
  source = std::move(same);
  Dependency copy(source);
  copy = std::as_const(copy);
  const Dependency moved(std::move(source));
  EXPECT_STREQ(source.GetName(), "");
  EXPECT_TRUE(source.GetHash().empty());
  source = std::move(copy);
  EXPECT_STREQ(copy.GetName(), "");
  for (const Dependency* dependency : {&moved, &std::as_const(source)}) {
    EXPECT_STREQ(dependency->GetName(), "a name that is too long to be kept inside the string");
    EXPECT_EQ(dependency->GetHash(), std::vector{range});
  }

  Repository<Dependency> list;
  EXPECT_EQ(list.GetFirst(), nullptr);
  EXPECT_EQ(list.GetCount(), 0);
  list.Add(moved);
  EXPECT_EQ(list.GetFirst(), &list.GetAt(0));
  for (const int outside : {-1, 1}) EXPECT_THROW(list.GetAt(outside), std::out_of_range);
}

TEST_F(PluginTest, AnyOfTheDigestsOfADependencyWillDo) {
  const std::string path = folder.add("whole", "digests" SUFFIX);
  const auto size = static_cast<std::uint32_t>(std::filesystem::file_size(path));
  const HashRange right = digestOf(path), part = digestOf(path, 64, 1000);
  const auto with = [](HashRange range, auto change) {
    change(std::get<0>(range), std::get<1>(range), std::get<2>(range));
    return range;
  };
  const auto wrong = with(right, [](auto& digest, auto&, auto&) { digest[31] ^= 1; });
  const auto longer = with(right, [](auto& digest, auto&, auto&) { digest.push_back(9); });
  const auto shorter = with(right, [](auto& digest, auto&, auto&) { digest.pop_back(); });
  const auto noDigest = with(right, [](auto& digest, auto&, auto&) { digest.clear(); });
  const auto moved = with(part, [](auto&, auto& offset, auto&) { ++offset; });
  // The digest of nothing, which is right wherever nothing lies inside the file.
  const HashRange nothing = digestOf(path, 0, 0);
  const auto at = [&](std::uint32_t offset, std::uint32_t length) {
    return HashRange{std::get<0>(nothing), offset, length};
  };
  const std::pair<std::vector<HashRange>, bool> table[] = {
      {{}, false},
      {{right}, true},
      {{part}, true},
      {{moved}, false},
      {{wrong}, false},
      {{wrong, right}, true},
      {{right, wrong}, true},
      {{longer}, true},
      {{shorter}, false},
      {{noDigest}, false},
      {{at(0, 0)}, true},
      {{at(size, 0)}, true},
      {{at(size + 1, 0)}, false},
      {{at(0, 1)}, false},
      {{at(size, 1)}, false},
      {{at(1, size)}, false},
      {{at(0, 0xFFFFFFFF)}, false},
      {{at(0xFFFFFFFF, 0xFFFFFFFF)}, false},
      {{at(0xFFFFFFFF, 1)}, false},
      {{at(1, 0xFFFFFFFF)}, false},
  };
  for (const auto& [hashes, passes] : table) {
    const auto dependencies = repository({Dependency("digests", hashes)});
    const Answer answer = capture([&] { return check(dependencies, folder.path()); });
    const std::string message = "Ombrel: Cannot load " + path + ". Integrity check failed.\n";
    EXPECT_EQ(answer.code, passes ? PLUGIN_OK : INTEGRITY_CHECK_FAILED)
        << &hashes - &table[0].first;
    EXPECT_EQ(answer.error, passes ? "" : message);
    EXPECT_EQ(answer.out, "");
  }
}

TEST_F(PluginTest, TheFirstBadDependencyEndsTheTest) {
  const HashRange right = digestOf(folder.add("whole", "one" SUFFIX));
  folder.add("whole", "two" SUFFIX);
  folder.add("whole", "three" SUFFIX);
  EXPECT_EQ(check(repository({{"one", {right}}, {"two", {}}, {"three", {right}}}), folder.path()),
            INTEGRITY_CHECK_FAILED);
  EXPECT_TRUE(isLoaded("one") && isLoaded("two"));
  EXPECT_FALSE(isLoaded("three"));

  const Answer missing = capture([&] {
    return check(repository({{"one", {right}}, {"four", {}}, {"three", {right}}}), folder.path());
  });
  EXPECT_EQ(missing.code, DEPENDENCY_LOAD_FAILED);
  EXPECT_THAT(missing.out, StartsWith("Ombrel: Cannot load four. Cannot load library: 'four' : "));
  EXPECT_EQ(missing.out.rfind("Ombrel: "), 0u) << "one message, though the system's text may end "
                                                  "in a line end of its own";
  EXPECT_EQ(missing.error, "");
  EXPECT_FALSE(isLoaded("three"));

  // Tested is the file that is mapped, and that one is not there any more.
  const FixtureFolder other;
  other.write("one" SUFFIX, "of another content");
  EXPECT_EQ(check(repository({{"one", {right}}}), other.path()), PLUGIN_OK);
  folder.takeAway("one" SUFFIX);
  for (const bool empty : {false, true}) {
    if (empty) folder.write("one" SUFFIX, "");
    const Answer gone = capture([&] { return check(repository({{"one", {}}}), folder.path()); });
    EXPECT_EQ(gone.code, DEPENDENCY_READ_FAILED);
    EXPECT_EQ(gone.out + gone.error, "");
  }
}

// One that is mapped already, so that no changed code ever runs.
TEST_F(PluginTest, OneByteAtAThousandPlacesIsRefused) {
  const std::string path = folder.add("whole", "changed" SUFFIX);
  const auto listed = repository({Dependency("changed", {digestOf(path)})});
  ASSERT_EQ(check(listed, folder.path()), PLUGIN_OK);
  const std::string whole = test::contentsOf(path);
  folder.takeAway("changed" SUFFIX);  // keeps what is mapped
  std::mt19937 random(4711);
  int refused = 0;
  for (int i = 0; i < 1000; ++i) {
    std::string changed = whole;
    changed[random() % whole.size()] ^= static_cast<char>(1 + random() % 255);
    folder.write("changed" SUFFIX, changed);
    refused += capture([&] { return check(listed, folder.path()); }).code == INTEGRITY_CHECK_FAILED;
  }
  EXPECT_EQ(refused, 1000);
  folder.write("changed" SUFFIX, whole);
  EXPECT_EQ(check(listed, folder.path()), PLUGIN_OK);
}

TEST_F(PluginTest, ACheckerEndsThroughItsInterface) {
  const std::unique_ptr<IHashChecker> checker(HashCheckerFactory().Create());
  EXPECT_EQ(checker->Check(none, "nowhere"), PLUGIN_OK);
}

int staticInitialized = 0;
void initializeStatic() {
  ++staticInitialized;
}
INNModel* createStatic(ModelParams /*params*/) {
  return nullptr;
}

TEST_F(PluginTest, AStaticPluginInitializesAfterTheTest) {
  auto failing = repository({{"no such library", {}}});
  StaticPlugin bad("bad", nullptr, createStatic, ".m", failing);
  EXPECT_EQ(capture([&] { return bad.Load("x"); }).code, DEPENDENCY_LOAD_FAILED);
  EXPECT_EQ(StaticPlugin("none", nullptr, nullptr, "", none).Load("x"), INITIALIZE_MISSING);
  failing = none;  // does not reach the plug-in
  EXPECT_EQ(capture([&] { return bad.Load("x"); }).code, DEPENDENCY_LOAD_FAILED);

  auto plugin = std::make_unique<StaticPlugin>("good", initializeStatic, createStatic, ".m", none);
  const int before = staticInitialized;
  EXPECT_EQ(plugin->Load("x") + plugin->Load("x"), PLUGIN_OK);
  EXPECT_EQ(staticInitialized, before + 2);
  const std::unique_ptr<Plugin> clone(plugin->Clone());
  StaticPlugin copy(bad), moved(std::move(*plugin));
  copy = moved;
  plugin.reset();
  for (Plugin* each : {clone.get(), static_cast<Plugin*>(&copy), static_cast<Plugin*>(&moved)}) {
    EXPECT_STREQ(each->GetName(), "good");
    EXPECT_STREQ(each->GetModelSuffix(), ".m");
    EXPECT_EQ(each->GetCreateMethod(), createStatic);
    EXPECT_EQ(each->Load("x"), PLUGIN_OK);
  }
}

TEST_F(PluginTest, ADynamicPluginLoadsTestsAndInitializes) {
  const FixtureFolder empty;
  const std::string path = folder.add("whole", "libdynamic \xC3\xA9" SUFFIX);
  const std::string name = "dynamic \xC3\xA9";
  DynamicPlugin plugin(name.c_str(), "Initialize", "Create", ".m", none);
  const Answer failed = capture([&] { return plugin.Load(empty.path()); });
  EXPECT_EQ(failed.code, PLUGIN_LOAD_FAILED);
  EXPECT_EQ(failed.error, "");
  // One line of the load, one of the plug-in, with the same text.
  const std::string text = failed.out.substr(failed.out.rfind("Cannot load library: '"));
  EXPECT_EQ(failed.out, "Ombrel: Cannot load " + name + ". " + text + "Ombrel: " + text);
  EXPECT_THAT(text, StartsWith("Cannot load library: '" + name + "' : "));
  // The folder of that attempt is kept.
  EXPECT_EQ(capture([&] { return plugin.GetCreateMethod() != nullptr; }).code, 0);
  empty.add("whole", "libother" SUFFIX);
  DynamicPlugin other("other", "Initialize", "Create", ".m", none);
  EXPECT_EQ(capture([&] { return other.Load(folder.path()); }).code, PLUGIN_LOAD_FAILED);
  folder.add("whole", "other" SUFFIX);
  EXPECT_NE(other.GetCreateMethod(), nullptr);

  const int opened = fixtureCount("FIXTURE_OPENED"), before = initialized();
  const Answer loaded = capture([&] { return plugin.Load(folder.path()); });
  EXPECT_EQ(loaded.code, PLUGIN_OK);
  EXPECT_EQ(loaded.out + loaded.error, "");
  EXPECT_EQ(initialized(), before + 1);
  // In the process, and so found from any folder.
  EXPECT_EQ(plugin.Load(empty.path()), PLUGIN_OK);
  const std::unique_ptr<Plugin> clone(plugin.Clone());
  DynamicPlugin copy(plugin), moved(std::move(plugin));
  copy = moved;
  for (Plugin* each : {clone.get(), static_cast<Plugin*>(&copy), static_cast<Plugin*>(&moved)}) {
    EXPECT_EQ(static_cast<DynamicPlugin*>(each)->GetLoaderName(), name);
    EXPECT_EQ(each->GetCreateMethod(), moved.GetCreateMethod());
    EXPECT_NE(each->GetCreateMethod(), nullptr);
    EXPECT_NE(each->GetInitializeMethod(), nullptr);
  }
  EXPECT_EQ(plugin.GetName(), name);
  const std::unique_ptr<Plugin> hollow(plugin.Clone());
  for (Plugin* each : {static_cast<Plugin*>(&plugin), hollow.get()}) {
    EXPECT_STREQ(static_cast<DynamicPlugin*>(each)->GetLoaderName(), "");
  }
  EXPECT_EQ(capture([&] { return plugin.GetCreateMethod() != nullptr; }).code, 0);
  plugin = std::move(moved);
  EXPECT_STREQ(moved.GetLoaderName(), "");
  EXPECT_NE(plugin.GetCreateMethod(), nullptr);
  EXPECT_EQ(fixtureCount("FIXTURE_OPENED"), opened + 1);
  EXPECT_EQ(Library(name).get_file_name(), path);
}

TEST_F(PluginTest, EntriesOfADynamicPlugin) {
  for (const char* fixture : {"no_create", "no_initialize", "entries"}) folder.add(fixture);
  const int before = initialized();
  DynamicPlugin noCreate("no_create", "Initialize", "Create", "", none);
  EXPECT_EQ(noCreate.Load(folder.path()), PLUGIN_OK);
  EXPECT_EQ(noCreate.GetCreateMethod(), nullptr);
  EXPECT_EQ(initialized(), before + 1);
  // The library that it needs has such an entry, but that is not its own.
  DynamicPlugin noInitialize("no_initialize", "Initialize", "Create", "", none);
  EXPECT_EQ(noInitialize.Load(folder.path()), INITIALIZE_MISSING);
  EXPECT_NE(noInitialize.GetCreateMethod(), nullptr);
  folder.add("whole", "untested" SUFFIX);
  DynamicPlugin untested("untested", "Initialize", "Create", "", repository({{"untested", {}}}));
  EXPECT_EQ(untested.Load(folder.path()), INTEGRITY_CHECK_FAILED);
  EXPECT_TRUE(isLoaded("untested"));
  EXPECT_EQ(initialized(), before + 1);
}

// One table of libraries, one heap, and types that are the same: strings and exceptions may pass.
TEST_F(PluginTest, HostAndPluginShareTheFramework) {
  folder.add("guest");
  const std::string name =
      folder.add("whole", "a library of the host that both of them ask for" SUFFIX);
  PluginManager manager;
  manager.SetPluginsDirectory(folder.path().c_str());
  DynamicPlugin guest("guest", "Initialize", "Create", "", none);
  EXPECT_THROW(manager.Load(guest), std::out_of_range);

  Config config;
  config.SetDataPath(name);
  const CreateFunction create = guest.GetCreateMethod();
  ASSERT_NE(create, nullptr);
  EXPECT_EQ(create({"", nullptr, 0, config}), nullptr);
  Library library(name);
  ASSERT_TRUE(library.load());
  try {
    (void)create({"", nullptr, 0, config});
    ADD_FAILURE() << "has to throw";
  } catch (const std::runtime_error& failure) {
    EXPECT_EQ(failure.what(), name);
  }
}

// Says what its manager does with it.
class ProbePlugin : public Plugin {
 public:
  struct Record {
    std::vector<std::string> directories;
    std::atomic<int> alive{0};
    int code = PLUGIN_OK;
    bool cloneThrows = false;
    const ProbePlugin* becomes = nullptr;  // by its load
  };

  ProbePlugin(const char* pluginName, Record& record)
      : Plugin(pluginName, "", Repository<Dependency>()), record_(record) {
    ++record_.alive;
  }
  ~ProbePlugin() override { --record_.alive; }
  ProbePlugin(const ProbePlugin&) = delete;
  ProbePlugin& operator=(const ProbePlugin&) = delete;

  CreateFunction GetCreateMethod() const override { return nullptr; }
  InitializeFunction GetInitializeMethod() const override { return nullptr; }
  int Load(std::string directory) override {
    record_.directories.push_back(std::move(directory));
    if (record_.becomes != nullptr) Plugin::operator=(*record_.becomes);
    return record_.code;
  }
  Plugin* Clone() const override {
    if (record_.cloneThrows) throw std::runtime_error("no clone");
    return new ProbePlugin(GetName(), record_);
  }

 private:
  Record& record_;
};

TEST(PluginManager, LoadsEachNameOnce) {
  ProbePlugin::Record record;
  {
    PluginManager manager;
    EXPECT_STREQ(manager.GetPluginsDirectory(), "./");
    auto plugin = std::make_unique<ProbePlugin>("name", record);
    ProbePlugin same("name", record), otherCase("Name", record);
    record.code = INTEGRITY_CHECK_FAILED;
    EXPECT_EQ(manager.Load(*plugin), INTEGRITY_CHECK_FAILED);
    record.code = PLUGIN_OK;
    record.cloneThrows = true;
    EXPECT_THROW(manager.Load(*plugin), std::runtime_error);
    EXPECT_FALSE(manager.IsLoaded(*plugin));
    record.cloneThrows = false;
    manager.SetPluginsDirectory("");
    EXPECT_EQ(manager.Load(*plugin), PLUGIN_OK);
    plugin.reset();
    manager.SetPluginsDirectory("later");
    EXPECT_STREQ(manager.GetPluginsDirectory(), "later");
    EXPECT_EQ(manager.Load(same), PLUGIN_OK);
    EXPECT_TRUE(manager.IsLoaded(same));
    EXPECT_FALSE(manager.IsLoaded(otherCase));
    EXPECT_EQ(manager.Load(otherCase), PLUGIN_OK);
    EXPECT_THAT(record.directories, testing::ElementsAre("./", "./", "", "later"));
    EXPECT_EQ(record.alive, 4);
    // As when another thread was first with the name: the first clone stays, the new one goes.
    ProbePlugin late("late", record);
    record.becomes = &same;
    EXPECT_EQ(manager.Load(late), PLUGIN_OK);
    EXPECT_EQ(record.alive, 5);
  }
  EXPECT_EQ(record.alive, 0);
}

TEST_F(PluginTest, ThreadsLoadOneNameAndManyNames) {
  constexpr int threadCount = 8, roundCount = 100;
  std::barrier round(threadCount);  // so that some come to one name at the same moment
  const std::string directories[] = {folder.path(), folder.path() + "/" + std::string(300, '/')};
  folder.add("whole", "shared" SUFFIX);
  for (int i = 0; i < threadCount; ++i) folder.add("whole", "own" + std::to_string(i) + SUFFIX);
  PluginManager manager;
  manager.SetPluginsDirectory(directories[0].c_str());
  ProbePlugin::Record record;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&, i] {
      const std::string own = "own" + std::to_string(i);
      DynamicPlugin sharedPlugin("shared", "Initialize", "Create", "", none);
      DynamicPlugin ownPlugin(own.c_str(), "Initialize", "Create", "", none);
      for (int number = 0; number < roundCount; ++number) {
        ProbePlugin probe(("probe" + std::to_string(number)).c_str(), record);
        manager.SetPluginsDirectory(directories[number % 2].c_str());
        round.arrive_and_wait();
        failures += manager.Load(probe) != PLUGIN_OK || manager.Load(sharedPlugin) != PLUGIN_OK ||
                    manager.Load(ownPlugin) != PLUGIN_OK || !manager.IsLoaded(probe);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(record.alive, roundCount);
  for (const std::string& directory : record.directories) {
    EXPECT_TRUE(directory == directories[0] || directory == directories[1]) << directory;
  }
}

}  // namespace
}  // namespace OMB
