// Single failures on the roads from Create to Run and from PluginManager::Load to a plug-in: of an
// allocation, of the engine, of a file that changes under the reader's hands, of huge pages to be
// worth their price.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <dlfcn.h>
#include <filesystem>
#include <memory>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "ombrel/ombrel.h"

#include "build_constants.h"
#include "engine_script.h"
#include "fixture_files.h"
#include "platform/library_table.h"
#include "plugin/file_bytes.h"
#include "system/input_file.h"
#include "system/open_file.h"
#include "system/search_directory.h"
#include "system/text.h"

extern "C" OMB::INNModel* Create(OMB::ModelParams params);

namespace {

/// What happens to files while they are read.
struct FileScript {
  std::function<void(int)> beforeOpening = {};  // gets the number of the opening, counted from 1
  int bytesBeforeError = -1;                    // the disk fails behind them; -1 for never
  bool ends = false;                            // there instead of failing
  int opened = 0;
};
FileScript files;

/// What taking memory from the system costs.
struct PageScript {
  long nanoseconds = 0;   // of the thread's time, whenever it is read; 0 for its real time
  std::size_t small = 0;  // bytes that were left to small pages
};
PageScript pages;

}  // namespace

namespace OMB::system {

std::ifstream openForReading(const char* fileName, std::ios::openmode mode) {
  if (files.beforeOpening) files.beforeOpening(++files.opened);
  struct stat status = {};
  if (stat(fileName, &status) == 0 && S_ISDIR(status.st_mode)) fileName = "";
  return std::ifstream(fileName, std::ios::in | mode);
}
std::ifstream openForReading(const wchar_t* fileName, std::ios::openmode mode) {
  return openForReading(to_utf8(fileName).c_str(), mode);
}

}  // namespace OMB::system

extern "C" __attribute__((visibility("default"))) ssize_t read(int file, void* to, size_t size) {
  if (files.bytesBeforeError >= 0) {
    size = std::min(size, static_cast<size_t>(std::exchange(files.bytesBeforeError, 0)));
    if (size == 0) return files.ends ? 0 : (errno = EIO, -1);
  }
  return syscall(SYS_read, file, to, size);
}

extern "C" int __real_clock_gettime(clockid_t clock, timespec* time);
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* time) {
  if (pages.nanoseconds == 0) return __real_clock_gettime(clock, time);
  static long now = 0;
  now += pages.nanoseconds;
  *time = {now / 1'000'000'000, now % 1'000'000'000};
  return 0;
}
extern "C" int __real_madvise(void* address, size_t size, int advice);
extern "C" int __wrap_madvise(void* address, size_t size, int advice) {
  if (advice == MADV_NOHUGEPAGE) pages.small += size;
  return __real_madvise(address, size, advice);
}

namespace OMB {
namespace {

using test::printedBy;

class Fault : public testing::Test {
 protected:
  Fault() {
    files = {};
    engine = {};
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
    ASSERT_TRUE(output != nullptr && output[2] == 6.0f);
  }
  static Repository<Dependency> listed(const std::string& name, const std::string& path) {
    ByteVector bytes(std::filesystem::file_size(path));
    Utility::readAllFile(path, bytes.data(), bytes.size());
    const auto size = static_cast<int>(bytes.size());
    Repository<Dependency> dependencies;
    dependencies.Add(Dependency(name.c_str(), {{Crypto::hashBuffer(bytes.data(), size), 0, size}}));
    return dependencies;
  }

  /// Puts ciphertext into both files, and returns the key of it.
  ByteVector seal() const {
    ByteVector key = test::fromHex("2b7e151628aed2a6abf7158809cf4f3c");
    for (std::size_t i = 0; i < key.size(); ++i) {
      key[i] = static_cast<unsigned char>(key[i] ^ keyMask[i]);
    }
    // Two blocks, whose plaintext ends in 16, which takes the last one off.
    const ByteVector sealed =
        test::fromHex("73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7");
    for (const char* name : {"pair.xml", "pair.bin"}) {
      folder.write(name, std::string(sealed.begin(), sealed.end()));
    }
    return key;
  }

  FixtureFolder folder;
  const std::string base = folder.path("pair");
  const std::string text = folder.write("pair.xml", "0123456789abcdef");
  const std::string weights = folder.write("pair.bin", "wwwwwwwwww");
};

std::unique_ptr<INNRunner> siblingOf(INNRunner& runner) {
  return std::unique_ptr<INNRunner>(dynamic_cast<INNSiblings&>(runner).CreateSibling());
}

template <typename Call>
bool throws(Call&& call) try {
  call();
  return false;
} catch (...) {
  return true;
}

TEST_F(Fault, OfTheEngineComesOutWhereItIsCaught) {
  enum Stage { reading, preparing, making, size, running };
  const std::pair<const char*, Stage> calls[] = {{"allocate 1", reading},
                                                 {"Core 1", reading},
                                                 {"ReadNetwork 1", reading},
                                                 {"setBatchSize 1", reading},
                                                 {"getInputsInfo 1", preparing},
                                                 {"getOutputsInfo 1", preparing},
                                                 {"Core 2", making},
                                                 {"RegisterPlugin 1", making},
                                                 {"LoadNetwork 1", making},
                                                 {"getInputsInfo 2", making},
                                                 {"getOutputsInfo 2", making},
                                                 {"CreateInferRequest 1", making},
                                                 {"GetBlob 1", making},
                                                 {"getOutputsInfo 3", size},
                                                 {"GetBlob 2", running},
                                                 {"GetBlob 3", running},
                                                 {"Infer 1", running},
                                                 {"GetBlob 4", running}};
  const std::pair<std::function<void()>, bool> failures[] = {
      // and whether it is the engine's own
      {[] { throw InferenceEngine::InferenceEngineException("why"); }, true},
      {[] { throw InferenceEngine::GeneralError("why"); }, true},
      {[] { throw std::bad_alloc(); }, false},
      {[] { throw 7; }, false}};
  for (const auto& [call, stage] : calls) {
    for (const auto& [failure, own] : failures) {
      SCOPED_TRACE(call);
      engine = {.failing = call, .failure = failure};
      std::unique_ptr<INNModel> model;
      const bool leaves = stage == preparing || (stage == reading && !own);
      const auto printed = printedBy([&] { EXPECT_EQ(throws([&] { model = load(); }), leaves); });
      EXPECT_EQ(printed.error, stage == reading && own ? "why\n" : "");
      EXPECT_EQ(printed.out, "");
      if (leaves) continue;
      EXPECT_EQ(model->IsLoaded(), stage != reading);
      if (stage == reading) continue;
      const std::unique_ptr<INNRunner> runner(model->CreateRunner());
      EXPECT_EQ(runner->IsReady(), stage != making);
      EXPECT_EQ(throws([&] { (void)model->GetOutputSize(); }), stage == size);
      if (stage == making) continue;
      EXPECT_EQ(throws([&] { run(*runner); }), stage == running);
      run(*runner);  // goes on as if nothing had been
      EXPECT_EQ(model->GetOutputSize(), 3);
    }
  }
  for (const char* call : {"CreateInferRequest 2", "GetBlob 2"}) {
    engine = {.failing = call, .failure = failures[0].first};
    const std::unique_ptr<INNRunner> runner(load()->CreateRunner());
    for (const bool ready : {false, true}) EXPECT_EQ(siblingOf(*runner)->IsReady(), ready);
    run(*runner);
  }
  engine = {.emptyExecutable = true};
  EXPECT_FALSE(std::unique_ptr<INNRunner>(load()->CreateRunner())->IsReady());
}

TEST_F(Fault, OfTheEngineOnTheWayOfACompilationIsCompiledOrNotStored) {
  const std::string file = folder.path("stored");
  unsigned char key[16] = {};
  const struct {
    const char* failing;
    const char* description;
    bool stored, used;
    int refused;
  } cases[] = {{"", "build 1", true, true, 0},
               {"Export 1", "build 1", false, false, 1},
               {"LoadNetwork 1", "build 1", false, false, 1},
               {"Describe 1", "build 1", false, false, 1},
               {"Describe 2", "build 1", true, false, 1},
               {"ImportNetwork 1", "build 1", true, true, 1},
               {"", "build 2", true, false, 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.failing) + c.description);
    std::filesystem::remove(file);
    engine = {.failing = c.failing, .failure = [] { throw InferenceEngine::GeneralError("why"); }};
    const std::unique_ptr<INNModel> model = load();
    auto& compilation = dynamic_cast<INNCompilation&>(*model);
    EXPECT_EQ(compilation.StoreCompilation(file.c_str(), key, 16), c.stored);
    engine.description = c.description;
    EXPECT_EQ(compilation.UseCompilation(file.c_str(), key, 16), c.used);
    const std::unique_ptr<INNRunner> runner(model->CreateRunner());
    EXPECT_EQ(compilation.GetRefusedCompilations(), c.refused);
    run(*runner);
  }
}
TEST_F(Fault, OfAFileBetweenItsSizeAndItsBytesGivesWhatWasRead) {
  const std::string nothing(16, '\0'), start = "01" + std::string(14, '\0');
  const struct {
    std::string change;
    int opening;       // 3: before the size is taken again; 5: before the text is read
    std::string read;  // the text that the engine gets; empty when std::length_error leaves Create
  } cases[] = {{"shrink", 3, "01"},  {"vanish", 3, ""},      {"folder", 3, ""},
               {"shrink", 5, start}, {"vanish", 5, nothing}, {"folder", 5, nothing},
               {"disk", 5, start}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.change);
    std::filesystem::remove_all(text);
    folder.write("pair.xml", "0123456789abcdef");
    files = {.beforeOpening = [&](int opening) {
      if (opening != c.opening) return;
      if (c.change == "disk") files.bytesBeforeError = 2;
      if (c.change == "shrink") std::filesystem::resize_file(text, 2);
      if (c.change == "vanish" || c.change == "folder") std::filesystem::remove(text);
      if (c.change == "folder") std::filesystem::create_directory(text);
    }};
    if (c.read.empty()) {
      EXPECT_THROW(load(), std::length_error);
      continue;
    }
    EXPECT_TRUE(load()->IsLoaded());
    EXPECT_EQ(engine.text, c.read);
    // The disk stays broken.
    EXPECT_EQ(engine.weights, c.change == "disk" ? std::string(10, '\0') : "wwwwwwwwww");
  }
}

TEST_F(Fault, OfHugePagesToPayOffLeavesTheRestToSmallOnes) {
  std::size_t hugePage = 0;
  std::ifstream("/sys/kernel/mm/transparent_hugepage/hpage_pmd_size") >> hugePage;
  if (hugePage > 2 << 20) GTEST_SKIP() << "a block of some huge pages would be too large here";
  constexpr std::size_t size = 11 << 20;
  const ByteVector first(size);  // by which the process learns what small pages cost
  const std::pair<long, std::size_t> prices[] = {{1, 0}, {1'000'000'000, 9 << 20}};
  for (const auto& [nanoseconds, small] : prices) {
    pages = {.nanoseconds = nanoseconds};
    const ByteVector bytes(size);
    EXPECT_EQ(pages.small, small);
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0), static_cast<std::ptrdiff_t>(size));
  }
  pages = {};

  // What was mapped to find an aligned stretch in does not stay behind.
  const auto mappedPages = [] {
    long count = 0;
    std::ifstream("/proc/self/statm") >> count;
    return count;
  };
  const long before = mappedPages();
  for (int i = 0; i < 50; ++i) ByteVector(std::size_t{4} << 20).clear();
  EXPECT_LT(mappedPages(), before + 2000);
}

// What was not read is refused.
TEST_F(Fault, OfADependencysFileRefusesIt) {
  const std::string path = folder.add("whole", "changing.so");
  const Repository<Dependency> dependencies = listed("changing", path);
  const auto check = [&] { return HashChecker().Check(dependencies, folder.path()); };
  ASSERT_EQ(check(), PLUGIN_OK);
  folder.takeAway("changing.so");
  EXPECT_EQ(check(), DEPENDENCY_READ_FAILED);
  std::filesystem::rename(path + ".away", path);
  for (const bool ends : {false, true}) {
    files = {.bytesBeforeError = 100, .ends = ends};
    EXPECT_EQ(check(), INTEGRITY_CHECK_FAILED);
  }
  files = {};
  EXPECT_EQ(check(), PLUGIN_OK);
}

// Nor are bytes of another file taken for those that one does not give.
TEST_F(Fault, OfAReadLeavesZeroesInABufferThatServedBefore) {
  const std::string full = folder.write("full", std::string(200, 'x'));
  for (const auto looks : {FileBytes::Looks::kOnce, FileBytes::Looks::kAgain}) {
    FileBytes bytes;
    system::OpenFile whole(full), cut(full);
    ASSERT_TRUE(bytes.use(whole, looks));
    bytes.readAll();
    ASSERT_TRUE(bytes.use(cut, looks));
    files = {.bytesBeforeError = 100};
    const auto part = bytes.part(0, 200);
    EXPECT_EQ(std::string(part.begin(), part.end()), std::string(100, 'x') + std::string(100, 0));
  }
}

TEST_F(Fault, OfEveryAllocationFromCreateToRunLeavesNoBlock) {
  ByteVector key = seal();
  int ran = 0, count = 0;
  const auto road = [&] {
    std::unique_ptr<INNModel> model = load(key.data());
    const std::unique_ptr<INNRunner> runner(model->CreateRunner());
    EXPECT_TRUE(model->IsLoaded() || !runner->IsReady());
    model.reset();
    const std::unique_ptr<INNRunner> sibling = siblingOf(*runner);
    if (!sibling->IsReady()) return;
    EXPECT_NE(dynamic_cast<INNTensors&>(*sibling).GetOutput("y").data, nullptr);
    run(*sibling);
    ++ran;
  };
  const auto printed = printedBy([&] {
    count = test::failEachAllocation(road, [&, before = 0]() mutable {
      before = ran;
      road();
      EXPECT_EQ(ran, before + 1);
    });
  });
  if (HasFailure()) std::fputs(printed.out.c_str(), stderr);
  std::printf("%d allocations, %d of them without consequence\n", count, ran - count - 4);
  EXPECT_GT(count, 30);
}

TEST_F(Fault, OfWipingDecryptedBytes) {
  ByteVector key = seal();
  ASSERT_TRUE(load(key.data())->IsLoaded());
  const std::string plain = engine.text, weightsToo = engine.weights;
  ASSERT_EQ(plain.size(), 16U);
  for (const std::string* each : {&plain, &weightsToo}) {
    test::secret = *each;
    const std::unique_ptr<INNModel> model = load(key.data());
    const std::unique_ptr<INNRunner> runner(model->CreateRunner());
    run(*runner);
  }
  test::secret = {};
  EXPECT_EQ(test::toldSecrets, 0);
}

TEST_F(Fault, OfMemoryForASearchDirectoryHasTheSystemsCode) {
  std::size_t size = 1000;
  int refused = 0;
  const auto setLonger = [&] {
    const auto longer = [&] {
      const test::Spared spared;
      return std::string(size *= 2, '/');
    }();
    refused += system::setSearchDirectory(longer.c_str()) == 8;
  };
  test::failEachAllocation(setLonger, [] {});
  EXPECT_EQ(refused, 1);
  system::setSearchDirectory(nullptr);
}

// Closes the library whoever holds it, so that nothing of one attempt is left for the next.
void forget(const std::string& name) {
  library_table& table = library_table::instance();
  const auto library = table.find_or_create(name);
  library->load_count = 1;
  library->release();
  library->load_count = 0;
  table.drop(library);
  table.drop(table.find_or_create(name));
}

TEST_F(Fault, OfEveryAllocationFromLoadToAPluginLeavesNoBlock) {
  const std::string names[] = {"plugin with a name that is long as well",
                               "dependency of a plugin with a long name"};
  for (const std::string& name : names) folder.add("whole", name + ".so");
  const auto dependencies = listed(names[1], folder.path(names[1] + ".so"));
  const std::string before(200, '/');  // a search directory that is to be there again
  ASSERT_EQ(system::setSearchDirectory(before.c_str()), 0u);

  std::map<int, int> codes = {{0, 0}, {1, 0}, {-1, 0}, {-2, 0}, {-3, 0}, {-4, 0}, {-7, 0}};
  const auto road = [&] {
    DynamicPlugin plugin(names[0].c_str(), "Initialize", "Create", ".m",
                         Repository<Dependency>(dependencies));
    PluginManager manager;
    manager.SetPluginsDirectory(folder.path().c_str());
    int code = 1;
    (void)throws([&] { code = manager.Load(plugin); });
    const test::Spared spared;
    ++codes[code];
    EXPECT_EQ(manager.IsLoaded(plugin), code == PLUGIN_OK);
    EXPECT_EQ(manager.Load(plugin), PLUGIN_OK);
    EXPECT_NE(plugin.GetCreateMethod(), nullptr);
  };
  int count = 0;
  const auto printed = printedBy([&] {
    count = test::failEachAllocation(road, [&] {
      EXPECT_EQ(system::searchDirectory(), before);
      for (const std::string& name : names) {
        forget(name);
        const std::string file = folder.path(name + ".so");
        EXPECT_EQ(dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD), nullptr) << "open: " << name;
      }
    });
  });
  system::setSearchDirectory(nullptr);
  if (HasFailure()) std::fputs(printed.out.c_str(), stderr);
  std::printf("%d allocations, of which Load threw %d; codes:", count, codes[1]);
  for (const auto& [code, times] : codes) std::printf(" %d x %d", times, code);
  std::printf("\n");
  EXPECT_GT(count, 100);
}

}  // namespace
}  // namespace OMB
