// The example of a backend, as a host on any system meets it.
#include <memory>

#include "ombrel/ombrel.h"

#include "fixture_files.h"

namespace OMB {
namespace {

TEST(ExampleBackend, IsLoadedByItsPlainNamesAndEchoes) {
  const FixtureFolder folder;
  for (const char* file : {"net.xml", "net.bin", "plugins.xml"}) folder.write(file, "echo");
  folder.add("echo_plugin");
  Repository<Dependency> none;
  DynamicPlugin plugin("echo_plugin", "Initialize", "Create", ".xml", none);
  PluginManager manager;
  manager.SetPluginsDirectory(folder.path().c_str());
  ASSERT_EQ(manager.Load(plugin), PLUGIN_OK);

  Config config;
  config.SetDataPath(folder.path(""));
  unsigned char key = 100;
  const std::string base = folder.path("net");
  const std::unique_ptr<INNModel> model(plugin.GetCreateMethod()({base.c_str(), &key, 1, config}));
  ASSERT_TRUE(model->IsLoaded());
  const std::unique_ptr<INNRunner> runner(model->CreateRunner());
  float pixels[24] = {1, 2, 3};
  NNData image(pixels, 3, 4, 2, ImageUtils::ELayoutType::CHW, EDataType::FP32, true);
  const auto* output = static_cast<const float*>(runner->Run(&image));
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(output[2], 103);
}

}  // namespace
}  // namespace OMB
