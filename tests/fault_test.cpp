// Single failures on the roads from Create to Run and from PluginManager::Load to a plug-in: of an
// allocation, of the engine, of a file that changes under the reader's hands.
#include <cerrno>
#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "ombrel/ombrel.h"

#include "build_constants.h"
#include "engine_script.h"
#include "failing_allocations.h"
#include "fixture_files.h"
#include "platform/input_file.h"
#include "platform/library_table.h"
#include "platform/text.h"

extern "C" OMB::INNModel* Create(OMB::ModelParams params);

namespace {

/// What happens to files while they are read.
struct FileScript {
  int opened = 0;
  std::function<void(int)> beforeOpening = {};  // gets the number of the opening, counted from 1
  int bytesBeforeError = -1;                    // the disk fails behind them; -1 for never
};
FileScript files;

}  // namespace

namespace OMB {

std::ifstream openForReading(const char* fileName, std::ios::openmode mode) {
  if (files.beforeOpening) files.beforeOpening(++files.opened);
  struct stat status = {};
  if (stat(fileName, &status) == 0 && S_ISDIR(status.st_mode)) fileName = "";
  return std::ifstream(fileName, std::ios::in | std::ios::binary | mode);
}
std::ifstream openForReading(const wchar_t* fileName, std::ios::openmode mode) {
  return openForReading(to_utf8(fileName).c_str(), mode);
}

}  // namespace OMB

extern "C" __attribute__((visibility("default"))) ssize_t read(int file, void* to, size_t size) {
  if (files.bytesBeforeError == 0) {
    errno = EIO;
    return -1;
  }
  if (files.bytesBeforeError > 0) {
    size = std::min(size, static_cast<size_t>(files.bytesBeforeError));
    files.bytesBeforeError -= static_cast<int>(size);
  }
  return syscall(SYS_read, file, to, size);
}

namespace OMB {
namespace {

using InferenceEngine::GeneralError;
using InferenceEngine::InferenceEngineException;
using test::printedBy;

class Fault : public testing::Test {
 protected:
  Fault() {
    files = {};
    engineScript() = {};
  }

  std::unique_ptr<INNModel> load(unsigned char* key = nullptr) const {
    Config config;
    config.SetDataPath("a folder whose name is too long to be kept inside the string itself/");
    return std::unique_ptr<INNModel>(Create({base.c_str(), key, 16, config}));
  }

  static void run(INNRunner& runner) {
    float values[] = {1, 2, 3};
    NNData image(values, 3, 1, 1, ImageUtils::ELayoutType::CHW, EDataType::FP32, true);
    const auto* output = static_cast<const float*>(runner.Run(&image));
    ASSERT_NE(output, nullptr);
    EXPECT_EQ(output[2], 6.0f);
  }

  FixtureFolder folder;
  const std::string base = folder.path("pair");
  const std::string text = folder.write("pair.xml", "0123456789abcdef");
  const std::string weights = folder.write("pair.bin", "wwwwwwwwww");
};

template <typename Call>
bool throws(Call&& call) {
  try {
    call();
  } catch (...) {
    return true;
  }
  return false;
}

// Where a failure of the engine comes out, in the order of the calls.
TEST_F(Fault, OfTheEngineComesOutWhereItIsCaught) {
  enum Stage { reading, preparing, runner, size, running };
  const std::pair<const char*, Stage> calls[] = {{"allocate 1", reading},
                                                 {"Core 1", reading},
                                                 {"ReadNetwork 1", reading},
                                                 {"setBatchSize 1", reading},
                                                 {"getInputsInfo 1", preparing},
                                                 {"getOutputsInfo 1", preparing},
                                                 {"Core 2", runner},
                                                 {"RegisterPlugin 1", runner},
                                                 {"LoadNetwork 1", runner},
                                                 {"getInputsInfo 2", runner},
                                                 {"getOutputsInfo 2", runner},
                                                 {"CreateInferRequest 1", runner},
                                                 {"GetBlob 1", runner},
                                                 {"getOutputsInfo 3", size},
                                                 {"GetBlob 2", running},
                                                 {"GetBlob 3", running},
                                                 {"Infer 1", running},
                                                 {"GetBlob 4", running}};
  const std::pair<std::function<void()>, bool> failures[] = {
      // and whether it is the engine's own
      {[] { throw InferenceEngineException("why"); }, true},
      {[] { throw GeneralError("why"); }, true},
      {[] { throw std::bad_alloc(); }, false},
      {[] { throw 7; }, false}};
  for (const auto& [call, stage] : calls) {
    for (const auto& [failure, own] : failures) {
      SCOPED_TRACE(call);
      engineScript() = {.failing = call, .failure = failure};
      std::unique_ptr<INNModel> model;
      const bool leaves = stage == preparing || (stage == reading && !own);
      const auto printed = printedBy([&] { EXPECT_EQ(throws([&] { model = load(); }), leaves); });
      EXPECT_EQ(printed.error, stage == reading && own ? "why\n" : "");
      EXPECT_EQ(printed.out, "");
      if (leaves) continue;
      EXPECT_EQ(model->IsLoaded(), stage != reading);
      if (stage == reading) continue;
      const std::unique_ptr<INNRunner> made(model->CreateRunner());
      EXPECT_EQ(made->IsReady(), stage != runner);
      EXPECT_EQ(throws([&] { (void)model->GetOutputSize(); }), stage == size);
      if (stage == runner) continue;
      EXPECT_EQ(throws([&] { run(*made); }), stage == running);
      run(*made);  // goes on as if nothing had been
      EXPECT_EQ(model->GetOutputSize(), 3);
    }
  }
  engineScript() = {.emptyExecutable = true};
  EXPECT_FALSE(std::unique_ptr<INNRunner>(load()->CreateRunner())->IsReady());
}

TEST_F(Fault, OfAFileBetweenItsSizeAndItsBytes) {
  const std::string nothing(16, '\0');
  const struct {
    const char* change;
    int opening;       // 3: before the size is taken again; 5: before the text is read
    std::string read;  // the text that the engine gets; empty when std::length_error leaves Create
  } cases[] = {{"shrink", 3, "01"}, {"vanish", 3, ""},      {"folder", 3, ""},
               {"shrink", 5, "01"}, {"vanish", 5, nothing}, {"folder", 5, nothing},
               {"disk", 5, "0123"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.change);
    std::filesystem::remove_all(text);
    folder.write("pair.xml", "0123456789abcdef");
    const std::string change = c.change;
    files = {.beforeOpening = [&](int opening) {
      if (opening != c.opening) return;
      if (change == "disk") files.bytesBeforeError = 4;
      if (change == "shrink") std::filesystem::resize_file(text, 2);
      if (change == "vanish" || change == "folder") std::filesystem::remove(text);
      if (change == "folder") std::filesystem::create_directory(text);
    }};
    if (c.read.empty()) {
      EXPECT_THROW(load(), std::length_error);
      continue;
    }
    EXPECT_TRUE(load()->IsLoaded());
    const std::string cut = c.read + nothing.substr(std::min(c.read.size(), nothing.size()));
    EXPECT_EQ(engineScript().text, c.opening == 3 ? c.read : cut);
    // The disk stays broken for the weights.
    EXPECT_EQ(engineScript().weights, change == "disk" ? std::string(10, '\0') : "wwwwwwwwww");
  }
}

// Puts the file of a dependency away once its size is known: what was not read is refused.
TEST_F(Fault, OfADependencysFile) {
  const std::string path = folder.add("whole", "changing.so");
  ByteVector bytes(std::filesystem::file_size(path));
  Utility::readAllFile(path, bytes.data(), bytes.size());
  const auto size = static_cast<std::uint32_t>(bytes.size());
  Repository<Dependency> dependencies;
  dependencies.Add(Dependency(
      "changing", {{Crypto::hashBuffer(bytes.data(), static_cast<int>(size)), 0, size}}));
  const auto check = [&] { return HashChecker().Check(dependencies, folder.path()); };
  ASSERT_EQ(check(), PLUGIN_OK);
  for (const int opening : {1, 2}) {
    files = {.beforeOpening = [&](int now) {
      if (now == opening) folder.takeAway("changing.so");
    }};
    testing::internal::CaptureStderr();
    EXPECT_EQ(check(), opening == 1 ? DEPENDENCY_READ_FAILED : INTEGRITY_CHECK_FAILED);
    EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), opening == 1);
    std::filesystem::rename(path + ".away", path);
  }
  files = {.bytesBeforeError = 100};
  testing::internal::CaptureStderr();
  EXPECT_EQ(check(), INTEGRITY_CHECK_FAILED);
  testing::internal::GetCapturedStderr();
  files = {};
  EXPECT_EQ(check(), PLUGIN_OK);
}

TEST_F(Fault, OfEveryAllocationFromCreateToRun) {
  // Two blocks whose plaintext ends in 16, under the key that the mask gives: a block is taken off.
  ByteVector key = test::fromHex("2b7e151628aed2a6abf7158809cf4f3c");
  for (std::size_t i = 0; i < key.size(); ++i)
    key[i] = static_cast<unsigned char>(key[i] ^ keyMask[i]);
  const ByteVector sealed =
      test::fromHex("73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7");
  for (const std::string& file : {text, weights}) {
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(sealed.data()), 32);
  }
  int loaded = 0, ready = 0, ran = 0;
  const auto road = [&] {
    std::unique_ptr<INNModel> model = load(key.data());
    loaded += model->IsLoaded();
    const std::unique_ptr<INNRunner> runner(model->CreateRunner());
    model.reset();
    if (!runner->IsReady()) return;
    ++ready;
    run(*runner);
    ++ran;
  };
  int count = 0;
  const auto printed = printedBy([&] {
    count = test::failEachAllocation(road, [&] {
      const int before = ran;
      road();
      EXPECT_EQ(ran, before + 1);
    });
  });
  std::printf("%d allocations: %d loads, %d runners ready, %d runs\n", count, loaded - count - 4,
              ready - count - 4, ran - count - 4);
  EXPECT_GT(count, 40);
  if (HasFailure()) std::fputs(printed.out.c_str(), stderr);  // where gtest tells it
}

// Closes the library whoever holds it, so that nothing of one attempt is left for the next.
void forget(const std::string& name) {
  const auto library = library_table::instance().find_or_create(name);
  library->load_count = 1;
  library->release();
  library->load_count = 0;
  library_table::instance().drop(library);
  library_table::instance().drop(library_table::instance().find_or_create(name));
}

TEST_F(Fault, OfEveryAllocationFromLoadToAPlugin) {
  const std::string path = folder.add("whole", "libdependency of a plugin with a long name.so");
  folder.add("whole", "libplugin with a name that is long as well.so");
  ByteVector bytes(std::filesystem::file_size(path));
  Utility::readAllFile(path, bytes.data(), bytes.size());
  const auto size = static_cast<std::uint32_t>(bytes.size());
  const std::string names[] = {"plugin with a name that is long as well",
                               "dependency of a plugin with a long name"};
  const HashRange digest{Crypto::hashBuffer(bytes.data(), static_cast<int>(size)), 0, size};

  std::map<int, int> codes = {
      {PLUGIN_OK, 0}, {1, 0}, {INTEGRITY_CHECK_FAILED, 0}, {DEPENDENCY_READ_FAILED, 0}};
  const auto road = [&] {
    Repository<Dependency> dependencies;
    dependencies.Add(Dependency(names[1].c_str(), {digest}));
    DynamicPlugin plugin(names[0].c_str(), "Initialize", "Create", ".m", dependencies);
    PluginManager manager;
    manager.SetPluginsDirectory(folder.path().c_str());
    int code = 0;
    try {
      code = manager.Load(plugin);
    } catch (const std::bad_alloc&) {
      code = 1;
    }
    const test::SparedAllocations spared;
    ++codes[code];
    EXPECT_EQ(manager.IsLoaded(plugin), code == PLUGIN_OK);
    EXPECT_EQ(manager.Load(plugin), PLUGIN_OK);
    EXPECT_NE(plugin.GetCreateMethod(), nullptr);
  };
  const std::string before(200, '/');
  ASSERT_NE(SetDllDirectoryA(before.c_str()), 0);
  const auto after = [&] {
    char directory[1];
    EXPECT_EQ(GetDllDirectoryA(1, directory), before.size() + 1);
    for (const std::string& name : names) {
      forget(name);
      const std::string file = folder.path("lib" + name + ".so");
      EXPECT_EQ(dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD), nullptr) << "still open: " << name;
    }
  };
  int count = 0;
  const auto printed = printedBy([&] { count = test::failEachAllocation(road, after); });
  std::printf("%d allocations:", count);
  SetDllDirectoryA(nullptr);
  for (const auto& [code, times] : codes) std::printf(" %d x code %d", times, code);
  std::printf("\n");
  EXPECT_GT(count, 40);
  if (HasFailure()) std::fputs(printed.out.c_str(), stderr);  // where gtest tells it
}

}  // namespace
}  // namespace OMB
