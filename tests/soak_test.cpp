// Much of the same for long: memory is to stay where it is after the first tenth, and descriptors
// are to be as many as then.
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <memory>
#include <thread>
#include <vector>

#include "ombrel/ombrel.h"

#include "backend_fixture.h"
#include "fixture_files.h"
#include "networks.h"

namespace OMB {
namespace {

struct Held {
  Held() {
    malloc_trim(0);  // what the heap keeps only for later is not held
    long total = 0;
    std::ifstream("/proc/self/statm") >> total >> pages;
  }
  long pages = 0;
  long descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
};

/// Does the work ten times.
template <typename Tenth>
void soak(const char* what, Tenth tenth) {
  tenth(0);
  const Held before;
  for (int part = 1; part < 10; ++part) tenth(part);
  const Held after;
  std::printf("%s: after the first tenth %ld pages and %ld descriptors, at the end %ld and %ld\n",
              what, before.pages, before.descriptors, after.pages, after.descriptors);
  EXPECT_LE(after.pages, before.pages + before.pages / 100);
  EXPECT_EQ(after.descriptors, before.descriptors);
}

class Soak : public test::BackendTest {
 protected:
  static void run(INNRunner& runner, float value) {
    std::vector<float> values(24, value);
    NNData image(values.data(), 3, 4, 2, ImageUtils::ELayoutType::HWC, EDataType::FP32, true);
    const auto* output = static_cast<const float*>(runner.Run(&image));
    ASSERT_TRUE(output != nullptr && output[0] == 2 * value && output[23] == 2 * value);
  }
};

TEST_F(Soak, RunsRunnersAndModelsHoldNoMore) {
  const std::string base = pair("net", test::doublingNetwork("1,3,2,4"));
  const auto model = load(base);
  std::vector<std::unique_ptr<INNRunner>> runners;
  for (int i = 0; i < 4; ++i) runners.emplace_back(model->CreateRunner());
  soak("200,000 runs of four runners", [&](int) {
    std::vector<std::thread> threads;
    for (const auto& runner : runners) {
      threads.emplace_back([&] {
        for (int n = 0; n < 5000; ++n) run(*runner, static_cast<float>(n));
      });
    }
    for (std::thread& thread : threads) thread.join();
  });
  soak("2,000 runners", [&](int) {
    for (int n = 0; n < 200; ++n) run(*std::unique_ptr<INNRunner>(model->CreateRunner()), 3);
  });
  soak("500 models", [&](int) {
    for (int n = 0; n < 50; ++n) ASSERT_TRUE(load(base)->IsLoaded());
  });
}

// A manager keeps what it has loaded, so each round has managers of its own.
TEST_F(Soak, PluginLoadsByTwoManagersHoldNoMore) {
  const FixtureFolder libraries;
  libraries.add("whole");
  Repository<Dependency> none;
  soak("500 plug-in loads", [&](int) {
    for (int n = 0; n < 25; ++n) {
      for (PluginManager& manager : std::array<PluginManager, 2>()) {
        manager.SetPluginsDirectory(libraries.path().c_str());
        DynamicPlugin plugin("whole", "Initialize", "Create", "", none);
        ASSERT_EQ(manager.Load(plugin), PLUGIN_OK);
      }
    }
  });
}

}  // namespace
}  // namespace OMB
