// Dependencies and their digests, plug-ins and their manager, with real libraries.
#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#if !defined(_WIN32)
#include <dlfcn.h>
#endif

#include <gmock/gmock.h>

#include "ombrel/ombrel.h"

#include "fixture_files.h"

namespace OMB {
namespace {

using test::printedBy;
using testing::StartsWith;

HashRange digestOf(const std::string& path, std::uint32_t offset = 0, std::uint32_t length = -1U) {
  std::string bytes = test::contentsOf(path).substr(offset, length);
  const auto size = static_cast<std::uint32_t>(bytes.size());
  auto* data = reinterpret_cast<unsigned char*>(bytes.data());
  return {Crypto::hashBuffer(data, static_cast<int>(size)), offset, size};
}

Repository<Dependency> repository(const std::vector<Dependency>& dependencies) {
  Repository<Dependency> result;
  for (const Dependency& dependency : dependencies) result.Add(dependency);
  return result;
}

DynamicPlugin dynamic(const std::string& name, const std::vector<Dependency>& dependencies = {}) {
  return {name.c_str(), "Initialize", "Create", ".m", repository(dependencies)};
}

// How often the fixture that is loaded under this name was initialized; -1 if there is none.
int initialized(const std::string& name) {
  const void* count = Library(name).get_method("initialized");
  return count == nullptr ? -1 : *static_cast<const int*>(count);
}

struct PluginTest : testing::Test {
  int check(const std::vector<Dependency>& dependencies) const {
    return HashChecker().Check(repository(dependencies), folder.path());
  }

  FixtureFolder folder;
};

TEST(Dependency, CopiesAndMoves) {
  const std::string name = "a name that is too long to be kept inside the string";
  const std::vector<HashRange> hashes = {{ByteVector(32, 1), 2, 3}};
  const auto expectIn = [&](const Dependency& dependency, bool full) {
    EXPECT_EQ(dependency.GetName(), full ? name : "");
    EXPECT_EQ(dependency.GetHash(), full ? hashes : std::vector<HashRange>());
  };
  Dependency source(name.c_str(), hashes), copy(source);
  Dependency& same = source;
  source = std::move(same);
  const Dependency moved(std::move(source));
  expectIn(moved, true);
  expectIn(source, false);
  source = std::move(copy);
  expectIn(source, true);
  expectIn(copy, false);

  Repository<Dependency> list;
  EXPECT_EQ(list.GetFirst(), nullptr);
  list.Add(moved);
  EXPECT_EQ(list.GetFirst(), &list.GetAt(0));
  for (const int outside : {-1, 1}) EXPECT_THROW(list.GetAt(outside), std::out_of_range);
}

TEST_F(PluginTest, AnyOfTheDigestsOfADependencyWillDo) {
  const std::string path = folder.add("whole", "digests" SUFFIX);
  const HashRange right = digestOf(path), part = digestOf(path, 64, 1000);
  HashRange moved = part, wrong = right, longer = right, shorter = right, noDigest = right;
  ++std::get<1>(moved);
  std::get<0>(wrong)[31] ^= 1;
  std::get<0>(longer).push_back(9);
  std::get<0>(shorter).pop_back();
  std::get<0>(noDigest).clear();
  // The digest of nothing, which is right wherever nothing lies inside the file.
  const auto nothing = [&](std::uint32_t offset, std::uint32_t length) {
    return HashRange{std::get<0>(digestOf(path, 0, 0)), offset, length};
  };
  const std::uint32_t size = std::get<2>(right), most = 0xFFFFFFFF;
  const std::vector<HashRange> good[] = {{right},           {part},         {longer},
                                         {wrong, right},    {right, wrong}, {nothing(0, 0)},
                                         {nothing(size, 0)}};
  // Any one of these would do.
  std::vector<HashRange> bad = {moved, wrong, shorter, noDigest, nothing(size + 1, 0)};
  for (const std::uint32_t offset : {0U, 1U, size, most}) {
    for (const std::uint32_t length : {1U, size, most}) bad.push_back(nothing(offset, length));
  }
  const auto errorOf = [&](const std::vector<HashRange>& hashes, int code) {
    return printedBy([&] { EXPECT_EQ(check({{"digests", hashes}}), code); }).error;
  };
  for (const auto& hashes : good) EXPECT_EQ(errorOf(hashes, PLUGIN_OK), "");
  const std::string message = "Ombrel: Cannot load " + path + ". Integrity check failed.\n";
  for (const auto& hashes : {bad, {}}) {
    EXPECT_EQ(errorOf(hashes, INTEGRITY_CHECK_FAILED), message);
  }
}

TEST_F(PluginTest, TheFirstBadDependencyEndsTheTest) {
  const HashRange right = digestOf(folder.add("whole", "one" SUFFIX));
  for (const char* file : {"two" SUFFIX, "three" SUFFIX}) folder.add("whole", file);
  EXPECT_EQ(check({{"one", {right}}, {"two", {}}, {"three", {right}}}), INTEGRITY_CHECK_FAILED);
  EXPECT_EQ(initialized("two"), 0);
  EXPECT_EQ(initialized("three"), -1);

  const auto missing = printedBy([&] {
    EXPECT_EQ(check({{"one", {right}}, {"four", {}}, {"three", {}}}), DEPENDENCY_LOAD_FAILED);
  });
  EXPECT_THAT(missing.out, StartsWith("Ombrel: Cannot load four. Cannot load library: 'four' : "));
  EXPECT_EQ(missing.out.rfind("Ombrel: "), 0u) << "one message, of one line or two";
  EXPECT_EQ(missing.error, "");
  EXPECT_EQ(initialized("three"), -1);

  // Tested is the file that is mapped, and that one is not there any more.
  const FixtureFolder other;
  other.write("one" SUFFIX, "of another content");
  EXPECT_EQ(HashChecker().Check(repository({{"one", {right}}}), other.path()), PLUGIN_OK);
  folder.takeAway("one" SUFFIX);
  folder.write("one" SUFFIX, "");
  const auto gone = printedBy([&] {
    EXPECT_EQ(check({{"one", {right}}}), DEPENDENCY_READ_FAILED);
  });
  EXPECT_EQ(gone.out + gone.error, "");
}

// What is tested has to be what is mapped, however the names on disk have changed since.
TEST_F(PluginTest, AFileThatIsNotTheMappedOneIsRefused) {
  const auto whole = [&](const char* file) { return folder.add("whole", file); };
  const HashRange right = digestOf(whole("good" SUFFIX));
  folder.add("no_create", "bad" SUFFIX);
  const auto refused = [&](const std::string& name) {
    int code = PLUGIN_OK;
    printedBy([&] { code = check({{name.c_str(), {right}}}); });
    return code == INTEGRITY_CHECK_FAILED;
  };
  EXPECT_TRUE(refused("bad"));
  folder.takeAway("bad" SUFFIX);
  whole("bad" SUFFIX);
  EXPECT_TRUE(refused("bad")) << "repaired, and tried again";

  // Exchanged behind the load, as a library can do itself while it is loaded.
  folder.add("no_create", "own" SUFFIX);
  Library own(folder.path("own" SUFFIX));
  ASSERT_TRUE(own.load());
  folder.takeAway("own" SUFFIX);
  whole("own" SUFFIX);
  EXPECT_TRUE(refused("own"));
}

#if !defined(_WIN32)
TEST_F(PluginTest, AModuleThatAnotherNameOfTheDependencyLeadsToIsRefused) {
  for (const char* name : {"top", "middle", "deep"}) folder.add(name);
  const auto listed = {Dependency("deep", {digestOf(folder.path("libdeep.so"))})};
  // The plug-in binds to this one, while the file in its folder is the one that is listed.
  const FixtureFolder elsewhere;
  Library alias(elsewhere.add("deep", "alias.so"));
  ASSERT_TRUE(alias.load());
  EXPECT_EQ(dynamic("top", listed).Load(folder.path()), INTEGRITY_CHECK_FAILED);
}

TEST_F(PluginTest, AModuleWhoseNameLeadsElsewhereIsRefused) {
  const FixtureFolder other;
  const HashRange right = digestOf(other.add("whole", "moved.so"));
  folder.add("no_create", "moved.so");
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  void* const module = dlopen("./moved.so", RTLD_NOW);
  std::filesystem::current_path(other.path());
  EXPECT_EQ(check({{"moved", {right}}}), INTEGRITY_CHECK_FAILED);
  std::filesystem::current_path(before);
  dlclose(module);

  // A path that is told cut, and a good file where the cut one leads to.
  std::string deep = folder.addDeep();
  const std::string cut = (deep + std::string(300, 'x')).substr(0, 259);
  deep += std::string(255 - 3, 'x') + ".so";
  std::filesystem::copy_file(folder.path("moved.so"), deep);
  std::filesystem::create_directories(std::filesystem::path(cut).parent_path());
  if (!std::filesystem::exists(cut)) std::filesystem::copy_file(other.path("moved.so"), cut);
  EXPECT_NE(check({{deep.c_str(), {right}}}), PLUGIN_OK);
}

// Somebody renames good and bad files over the name all the while; what passed has to be good.
TEST_F(PluginTest, ARaceOfRenamesNeverPassesABadFile) {
  const std::string good = folder.add("whole"), bad = folder.add("no_create");
  const HashRange right = digestOf(good);
  std::atomic<int> round = 0;
  std::jthread attacker([&](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      const std::string target = folder.path("race" + std::to_string(round) + SUFFIX);
      for (const std::string& file : {good, bad}) {
        const std::string copy = folder.path("copy");
        std::filesystem::copy_file(file, copy);
        std::filesystem::rename(copy, target);
      }
    }
  });
  int passed = 0, lied = 0;
  for (; round < 200; ++round) {
    const std::string name = "race" + std::to_string(round);
    while (!std::filesystem::exists(folder.path(name + SUFFIX))) std::this_thread::yield();
    printedBy([&] {
      if (check({{name.c_str(), {right}}}) != PLUGIN_OK) return;
      ++passed;
      lied += Library(name).get_method("Create") == nullptr;
    });
  }
  EXPECT_EQ(lied, 0);
  EXPECT_GT(passed, 0);
  std::printf("%d of 200 passed\n", passed);
}
#endif

TEST(HashChecker, EndsThroughItsInterface) {
  const std::unique_ptr<IHashChecker> checker(HashCheckerFactory().Create());
  EXPECT_EQ(checker->Check({}, "nowhere"), PLUGIN_OK);
}

TEST_F(PluginTest, AStaticPluginInitializesAfterTheTest) {
  static int count = 0;
  const InitializeFunction initialize = [] { ++count; };
  const CreateFunction create = [](ModelParams) -> INNModel* { return nullptr; };
  auto failing = repository({{"no such library", {}}});
  StaticPlugin bad("bad", nullptr, create, ".b", failing);
  failing = {};  // does not reach the plug-in
  EXPECT_EQ(bad.Load("x"), DEPENDENCY_LOAD_FAILED);
  EXPECT_EQ(StaticPlugin("none", nullptr, nullptr, "", failing).Load("x"), INITIALIZE_MISSING);

  auto plugin = std::make_unique<StaticPlugin>("good", initialize, create, ".m", failing);
  const std::unique_ptr<Plugin> clone(plugin->Clone());
  StaticPlugin copy(bad), moved(std::move(*plugin));
  copy = moved;
  plugin.reset();
  Plugin* const plugins[] = {clone.get(), &copy, &moved};
  for (Plugin* each : plugins) {
    const int before = count;
    EXPECT_STREQ(each->GetName(), "good");
    EXPECT_STREQ(each->GetModelSuffix(), ".m");
    EXPECT_EQ(each->GetCreateMethod(), create);
    EXPECT_EQ(each->Load("x") + each->Load("x"), PLUGIN_OK);
    EXPECT_EQ(count, before + 2);
  }
}

TEST_F(PluginTest, ADynamicPluginLoadsTestsAndInitializes) {
  const FixtureFolder empty;
  const std::string name = "dynamic \xC3\xA9", path = folder.add("whole", "lib" + name + SUFFIX);
  DynamicPlugin plugin = dynamic(name), other = dynamic("other");
  const auto failed = printedBy([&] { EXPECT_EQ(plugin.Load(empty.path()), PLUGIN_LOAD_FAILED); });
  EXPECT_EQ(failed.error, "");
  // One line of the load, one of the plug-in, with the same text.
  const std::string text = failed.out.substr(failed.out.rfind("Cannot load library: '"));
  EXPECT_EQ(failed.out, "Ombrel: Cannot load " + name + ". " + text + "Ombrel: " + text);
  EXPECT_THAT(text, StartsWith("Cannot load library: '" + name + "' : "));
  EXPECT_EQ(plugin.GetCreateMethod(), nullptr);
  // The folder of such an attempt is kept.
  EXPECT_EQ(other.Load(folder.path()), PLUGIN_LOAD_FAILED);
  folder.add("whole", "other" SUFFIX);
  EXPECT_NE(other.GetCreateMethod(), nullptr);

  const auto loaded = printedBy([&] { EXPECT_EQ(plugin.Load(folder.path()), PLUGIN_OK); });
  EXPECT_EQ(loaded.out + loaded.error, "");
  // In the process, and so found from any folder.
  EXPECT_EQ(plugin.Load(empty.path()), PLUGIN_OK);
  EXPECT_EQ(initialized(name), 2);
  EXPECT_EQ(Library(name).get_file_name(), path);

  const CreateFunction create = plugin.GetCreateMethod();
  EXPECT_NE(create, nullptr);
  const std::unique_ptr<Plugin> clone(plugin.Clone());
  DynamicPlugin copy(plugin), moved(std::move(plugin));
  copy = moved;
  EXPECT_EQ(plugin.GetName(), name);
  const std::unique_ptr<Plugin> hollow(plugin.Clone());
  const auto expectLibrary = [&](const Plugin& each, bool has) {
    EXPECT_EQ(static_cast<const DynamicPlugin&>(each).GetLoaderName(), has ? name : "");
    EXPECT_EQ(each.GetCreateMethod(), has ? create : nullptr);
    EXPECT_EQ(each.GetInitializeMethod() != nullptr, has);
  };
  const Plugin* const full[] = {clone.get(), &copy, &moved};
  for (const Plugin* each : full) expectLibrary(*each, true);
  expectLibrary(plugin, false);
  expectLibrary(*hollow, false);
  plugin = std::move(moved);
  expectLibrary(moved, false);
  expectLibrary(plugin, true);
}

TEST_F(PluginTest, ADynamicPluginHasTheEntriesOfItsOwnLibraryOnly) {
  for (const char* fixture : {"no_create", "no_initialize", "entries", "whole"})
    folder.add(fixture);
  DynamicPlugin noCreate = dynamic("no_create");
  EXPECT_EQ(noCreate.Load(folder.path()), PLUGIN_OK);
  EXPECT_EQ(noCreate.GetCreateMethod(), nullptr);
  EXPECT_EQ(initialized("no_create"), 1);
  // The library that it needs has such an entry, but that is not its own.
  DynamicPlugin noInitialize = dynamic("no_initialize");
  EXPECT_EQ(noInitialize.Load(folder.path()), INITIALIZE_MISSING);
  EXPECT_NE(noInitialize.GetCreateMethod(), nullptr);
  EXPECT_EQ(dynamic("whole", {{"whole", {}}}).Load(folder.path()), INTEGRITY_CHECK_FAILED);
  EXPECT_EQ(initialized("whole"), 0);
}

// One table of libraries, one heap, and types that are the same: strings and exceptions may pass.
TEST_F(PluginTest, HostAndPluginShareTheFramework) {
  folder.add("guest");
  const std::string name =
      folder.add("whole", "a library of the host that both of them ask for" SUFFIX);
  PluginManager manager;
  manager.SetPluginsDirectory(folder.path().c_str());
  DynamicPlugin guest = dynamic("guest");
  EXPECT_THROW((void)manager.Load(guest), std::out_of_range);

  Config config;
  config.SetDataPath(name);
  const CreateFunction entry = guest.GetCreateMethod();
  const auto create = [&] { return entry({"", nullptr, 0, config}); };
  EXPECT_EQ(create(), nullptr);
  Library library(name);
  ASSERT_TRUE(library.load());
  EXPECT_THAT(create, testing::ThrowsMessage<std::runtime_error>(name));
}

// Notes the folders that it is loaded from, which tell it what to do.
class ProbePlugin : public StaticPlugin {
 public:
  using Notes = std::shared_ptr<std::vector<std::string>>;

  ProbePlugin(const std::string& id, Notes shared)
      : StaticPlugin(id.c_str(), nullptr, nullptr, "", {}), notes(std::move(shared)) {}

  int Load(std::string directory) override {
    notes->push_back(directory);
    const std::size_t count = notes->size();
    std::this_thread::yield();
    EXPECT_EQ(notes->size(), count) << "another load came between";
    if (directory == "rename") Plugin::operator=(ProbePlugin("name", notes));
    return directory == "fail" ? INTEGRITY_CHECK_FAILED : PLUGIN_OK;
  }
  Plugin* Clone() const override {
    if (notes->back() == "throw") throw std::runtime_error("no clone");
    return new ProbePlugin(*this);
  }

 private:
  Notes notes;  // each plug-in is an owner
};

TEST(PluginManager, LoadsEachNameOnce) {
  const auto notes = std::make_shared<std::vector<std::string>>();
  {
    PluginManager manager;
    auto plugin = std::make_unique<ProbePlugin>("name", notes);
    ProbePlugin same("name", notes), otherCase("Name", notes), late("late", notes);
    manager.SetPluginsDirectory("fail");
    EXPECT_EQ(manager.Load(*plugin), INTEGRITY_CHECK_FAILED);
    manager.SetPluginsDirectory("throw");
    EXPECT_STREQ(manager.GetPluginsDirectory(), "throw");
    EXPECT_THROW((void)manager.Load(*plugin), std::runtime_error);
    EXPECT_FALSE(manager.IsLoaded(*plugin));
    manager.SetPluginsDirectory("");
    EXPECT_EQ(manager.Load(*plugin), PLUGIN_OK);
    plugin.reset();
    EXPECT_EQ(manager.Load(same), PLUGIN_OK);
    EXPECT_TRUE(manager.IsLoaded(same));
    EXPECT_FALSE(manager.IsLoaded(otherCase));
    EXPECT_EQ(manager.Load(otherCase), PLUGIN_OK);
    EXPECT_EQ(notes.use_count(), 1 + 3 + 2);
    // As when another thread was first with the name: the first clone stays, the new one goes.
    manager.SetPluginsDirectory("rename");
    EXPECT_EQ(manager.Load(late), PLUGIN_OK);
    EXPECT_EQ(notes.use_count(), 1 + 3 + 2);
    PluginManager other;
    EXPECT_STREQ(other.GetPluginsDirectory(), "./");
    EXPECT_EQ(other.Load(same), PLUGIN_OK);
    EXPECT_THAT(*notes, testing::ElementsAre("fail", "throw", "", "", "rename", "./"));
  }
  EXPECT_EQ(notes.use_count(), 1);
}

TEST_F(PluginTest, ThreadsLoadOneNameAndManyNames) {
  constexpr int kThreadCount = 8, kRoundCount = 100;
  std::atomic<int> arrived = 0;  // so that some come to one name at the same moment
  const std::string directories[] = {folder.path(), folder.path() + "/" + std::string(300, '/')};
  folder.add("whole", "shared" SUFFIX);
  for (int i = 0; i < kThreadCount; ++i) folder.add("whole", "own" + std::to_string(i) + SUFFIX);
  PluginManager manager;
  const auto notes = std::make_shared<std::vector<std::string>>();
  std::vector<std::jthread> threads;
  for (int i = 0; i < kThreadCount; ++i) {
    threads.emplace_back([&, i] {
      DynamicPlugin shared = dynamic("shared"), own = dynamic("own" + std::to_string(i));
      for (int number = 0; number < kRoundCount; ++number) {
        ProbePlugin probe("probe" + std::to_string(number), notes);
        manager.SetPluginsDirectory(directories[number % 2].c_str());
        for (++arrived; arrived < kThreadCount * (number + 1);) std::this_thread::yield();
        EXPECT_EQ(manager.Load(probe) + manager.Load(shared) + manager.Load(own), PLUGIN_OK);
        EXPECT_TRUE(manager.IsLoaded(probe));
      }
    });
  }
  threads.clear();
  EXPECT_EQ(notes.use_count(), 1 + kRoundCount);
  EXPECT_THAT(*notes, testing::Each(testing::AnyOfArray(directories)));
}

}  // namespace
}  // namespace OMB
