// What a host still does with libraries and plug-ins while the process ends, after the table of
// libraries has been closed.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <gtest/gtest.h>

#include "ombrel/ombrel.h"

#include "library_suffix.h"

namespace OMB {
namespace {

constexpr char kWhole[] = OMBREL_FIXTURES "/libwhole" SUFFIX;

// Each is registered with the process before the table is, and so comes after it.
struct Late {
  std::unique_ptr<Library> library;
  std::unique_ptr<DynamicPlugin> plugin;
  std::unique_ptr<INNModel> model;
  std::unique_ptr<INNRunner> runner;

  ~Late() {
    const bool works = library == nullptr || (library->load() && library->get_method("Create"));
    const bool finds = plugin == nullptr || plugin->GetCreateMethod() != nullptr;
    std::fprintf(stderr, "%s\n", works && finds ? "still there" : "gone");
  }
};

void openAgain() {
  Library library(kWhole);
  const bool opened = library.load() && library.get_method("Initialize") != nullptr;
  std::fprintf(stderr, "%s\n", opened ? "opened" : "refused");
}

// In a process of its own, in which nothing has asked for the table yet: started anew, or forked
// from one of CTest's where the caller says so.
struct ExitDeathTest : testing::Test {
  ExitDeathTest() {
    if (std::getenv("GTEST_DEATH_TEST_STYLE") == nullptr) {
      testing::GTEST_FLAG(death_test_style) = "threadsafe";
    }
  }
};

TEST_F(ExitDeathTest, LateHandlesWorkAfterTheTableIsClosed) {
  EXPECT_EXIT(
      {
        static Late late;
        std::atexit(openAgain);
        late.library = std::make_unique<Library>(kWhole);
        late.plugin = std::make_unique<DynamicPlugin>(kWhole, "Initialize", "Create", "",
                                                      Repository<Dependency>());
        if (late.plugin->Load("") != PLUGIN_OK || !Library(kWhole).load()) std::_Exit(1);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "^opened\nstill there\n$");
}

#if defined(OMBREL_BACKEND)
TEST_F(ExitDeathTest, AModelAndARunnerInAStaticEndCleanly) {
  EXPECT_EXIT(
      {
        static Late late;
        PluginManager manager;
        manager.SetPluginsDirectory(OMBREL_BACKEND);
        DynamicPlugin plugin("ombrel_openvino", "Initialize", "Create", "",
                             Repository<Dependency>());
        if (manager.Load(plugin) != PLUGIN_OK) std::_Exit(1);
        Config config;
        config.SetDataPath(OMBREL_BACKEND "/");
        late.model.reset(
            plugin.GetCreateMethod()({OMBREL_DEMO_DATA "/face/face", nullptr, 0, config}));
        late.runner.reset(late.model->CreateRunner());
        if (!late.runner->IsReady()) std::_Exit(2);
        std::exit(0);
      },
      // An emulated ARM64 lacks a file of the system's, of which the engine tells in front.
      testing::ExitedWithCode(0), "still there\n$");
}
#endif

}  // namespace
}  // namespace OMB
