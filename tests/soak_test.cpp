// Much of the same for long: memory is to stay where it is after the first tenth, and descriptors
// are to be as many as before.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "ombrel/ombrel.h"

#include "fixture_files.h"
#include "networks.h"

extern "C" OMB::INNModel* Create(OMB::ModelParams params);

namespace OMB {
namespace {

long descriptors() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return std::distance(begin(open), end(open));
}

/// Resident memory in pages, without what the heap keeps only for later.
long residentPages() {
  malloc_trim(0);
  long total = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident;
}

/// Ten equal parts of the work; compares what is held after the first with what is at the end.
template <typename Tenth>
void soak(const char* what, Tenth tenth) {
  tenth(0);
  const long openBefore = descriptors(), before = residentPages();
  for (int part = 1; part < 10; ++part) tenth(part);
  const long after = residentPages();
  const double pageSize = static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
  std::printf(
      "%-18s %7.2f MiB after the first tenth, %7.2f MiB at the end, %+.2f %%; %ld descriptors, "
      "%ld\n",
      what, static_cast<double>(before) * pageSize, static_cast<double>(after) * pageSize,
      100.0 * static_cast<double>(after - before) / static_cast<double>(before), openBefore,
      descriptors());
  EXPECT_EQ(descriptors(), openBefore);
  EXPECT_LE(after, before + before / 100);
}

class Soak : public testing::Test {
 protected:
  Soak() {
    folder.write("plugins.xml", "<ie><plugins/></ie>");
    folder.write("net.xml", test::doublingNetwork({1, 3, 2, 4}));
    folder.write("net.bin", "w");
    config.SetDataPath(folder.path() + "/");
  }
  std::unique_ptr<INNModel> load() const {
    const std::string base = folder.path("net");
    return std::unique_ptr<INNModel>(Create({base.c_str(), nullptr, 0, config}));
  }
  static void run(INNRunner& runner, float value) {
    std::vector<float> values(24, value);
    NNData image(values.data(), 3, 4, 2, ImageUtils::ELayoutType::HWC, EDataType::FP32, true);
    const auto* output = static_cast<const float*>(runner.Run(&image));
    ASSERT_TRUE(output != nullptr && output[0] == 2 * value && output[23] == 2 * value);
  }

  FixtureFolder folder;
  Config config;
};

TEST_F(Soak, RunsOfFourRunners) {
  const auto model = load();
  std::vector<std::unique_ptr<INNRunner>> runners;
  for (int i = 0; i < 4; ++i) runners.emplace_back(model->CreateRunner());
  soak("200,000 runs", [&](int) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&, i] {
        for (int n = 0; n < 5000; ++n)
          run(*runners[static_cast<std::size_t>(i)], static_cast<float>(i + n));
      });
    }
    for (std::thread& thread : threads) thread.join();
  });
}

TEST_F(Soak, Runners) {
  const auto model = load();
  soak("2,000 runners", [&](int) {
    for (int n = 0; n < 200; ++n) run(*std::unique_ptr<INNRunner>(model->CreateRunner()), 3);
  });
}

TEST_F(Soak, Models) {
  soak("500 models", [&](int) {
    for (int n = 0; n < 50; ++n) ASSERT_TRUE(load()->IsLoaded());
  });
}

TEST_F(Soak, PluginLoads) {
  folder.add("whole");
  PluginManager managers[2];
  for (PluginManager& manager : managers) manager.SetPluginsDirectory(folder.path().c_str());
  Repository<Dependency> none;
  soak("500 plug-in loads", [&](int part) {
    for (int n = 0; n < 25; ++n) {
      // Each name is new to its manager, and one library to the loader.
      const std::string name = folder.path() +
                               std::string(static_cast<std::size_t>(part * 25 + n + 1), '/') +
                               "libwhole.so";
      DynamicPlugin plugin(name.c_str(), "Initialize", "Create", "", none);
      for (PluginManager& manager : managers) ASSERT_EQ(manager.Load(plugin), PLUGIN_OK);
    }
  });
}

}  // namespace
}  // namespace OMB
