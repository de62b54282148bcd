// Stored compilations, over the real engine: used where all is as it was, and in no other case.
#include <filesystem>
#include <random>

#include "ombrel/model/nn_compilation.h"
#include "ombrel/model/nn_siblings.h"

#include "backend/device.h"
#include "backend_fixture.h"
#include "networks.h"
#include "system/memory_file.h"

namespace OMB {
namespace {

using test::contentsOf;

constexpr int kSize = 256;
/// Looks like nothing else, and is what the weights begin with.
constexpr std::string_view kSentinel = "weights that nobody may find";

std::string weightedNetwork(const std::string& operation) {
  test::NetworkWriter network;
  const auto x = network.input("x", "1,256"), w = network.constant("1,256", "f32", 0, 4 * kSize);
  network.output(network.add(operation, "y", "auto_broadcast=\"numpy\"", {x, w}));
  return network.text();
}

INNCompilation& compilationOf(INNModel& model) {
  return dynamic_cast<INNCompilation&>(model);
}

/// A sealed pair and the compilation of it.
class Compilation : public test::BackendTest {
 protected:
  Compilation() {
    weights = std::string(kSentinel) + std::string(4 * kSize - kSentinel.size(), '?');
    clear = pair("model", weightedNetwork("Multiply"), weights);
    seal(clear);
    const auto model = load(sealed, key);
    stored = compilationOf(*model).StoreCompilation(file.c_str(), key.data(), 16);
    expected = outputOf(*model);
    EXPECT_EQ(compilationOf(*model).GetRefusedCompilations(), 0);
  }
  void SetUp() override {
    if (!stored) GTEST_SKIP() << "the engine exports to nothing but a disk, here";
  }

  std::vector<float> outputOf(INNModel& model) const {
    std::vector<float> values = test::counted(kSize);
    return test::run(*test::runnerOf(model), test::viewOf(values), kSize);
  }
  bool use(INNModel& model, const ByteVector& with) const {
    return compilationOf(model).UseCompilation(file.c_str(), with.data(),
                                               static_cast<int>(with.size()));
  }
  std::unique_ptr<INNModel> loadWith(const std::string& base, const Config& configured) const {
    return std::unique_ptr<INNModel>(Create({base.c_str(), nullptr, 0, configured}));
  }

  const std::string file = folder / "stored";
  std::string weights, clear;
  bool stored = false;
  std::vector<float> expected;
};

TEST_F(Compilation, GivesTheSameBytesForThePairSealedOrInTheClear) {
  for (const bool opened : {false, true}) {
    const auto model = opened ? load(clear) : load(sealed, key);
    ASSERT_TRUE(use(*model, key));
    auto runner = test::runnerOf(*model);
    EXPECT_EQ(outputOf(*model), expected);  // and another while the first is there
    EXPECT_EQ(compilationOf(*model).GetRefusedCompilations(), 0);
    auto& sibling = dynamic_cast<INNSiblings&>(*runner);
    const std::unique_ptr<INNRunner> last(sibling.CreateSibling());
    runner.reset();
  }
}

TEST_F(Compilation, IsSealedWhereverItIsWritten) {
  system::MemoryFile exported;  // shows that the search would find something
  Device device(config());
  InferenceEngine::Core core(folder / "plugins.xml");
  const auto blob = InferenceEngine::make_shared_blob<unsigned char>(
      InferenceEngine::TensorDesc(InferenceEngine::Precision::U8, {weights.size()},
                                  InferenceEngine::Layout::C),
      ByteVector(weights.begin(), weights.end()));
  blob->allocate();
  device.Compile(core.ReadNetwork(weightedNetwork("Multiply"), blob)).Export(exported.path());
  const auto bytes = exported.bytes();
  EXPECT_NE(std::string(bytes.begin(), bytes.end()).find(kSentinel), std::string::npos);

  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    ++files;
    if (entry.path().stem() == "model") continue;
    EXPECT_EQ(contentsOf(entry.path().string()).find(kSentinel), std::string::npos) << entry;
  }
  EXPECT_EQ(files, 6);  // the two pairs, the list, the compilation
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(file).permissions(), perms::owner_read | perms::owner_write);
  const auto model = load(sealed, key);
  ASSERT_TRUE(compilationOf(*model).StoreCompilation((folder / "other").c_str(), key.data(), 16));
  EXPECT_NE(contentsOf(folder / "other").substr(16, 64), contentsOf(file).substr(16, 64));
}

TEST_F(Compilation, OfAnythingElseIsNotUsed) {
  ByteVector other = key;
  other[15] ^= 1;
  Config threads = config();
  threads.SetThreadCount(2);
  std::string changed = weights;
  changed.back() ^= 1;
  const std::string otherWeights = pair("weights", weightedNetwork("Multiply"), changed);
  const std::string otherText = pair("text", weightedNetwork("Add"), weights);
  const struct {
    std::string base;
    Config config;
    ByteVector key;
  } cases[] = {{clear, config(), other},          {clear, config(), {}},
               {clear, config(), ByteVector(15)}, {clear, threads, key},
               {otherWeights, config(), key},     {otherText, config(), key},
               {folder / "none", config(), key}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.base);
    const auto model = loadWith(c.base, c.config);
    EXPECT_FALSE(use(*model, c.key));
    EXPECT_EQ(compilationOf(*model).GetRefusedCompilations(), 1);
    const bool keyed = c.key.size() == 16 && model->IsLoaded();
    EXPECT_EQ(compilationOf(*model).StoreCompilation((folder / "again").c_str(), c.key.data(),
                                                     static_cast<int>(c.key.size())),
              keyed);
  }
  const auto model = load(clear);
  EXPECT_FALSE(
      compilationOf(*model).StoreCompilation((folder / "no/folder").c_str(), key.data(), 16));
  EXPECT_FALSE(compilationOf(*model).UseCompilation(file.c_str(), nullptr, 16));
}

TEST_F(Compilation, WithAnyChangeIsNotUsed) {
  const std::string whole = contentsOf(file);
  std::minstd_rand random(1);
  std::vector<std::string> mutants = {"", whole + '\0'};
  for (const std::size_t length :
       {std::size_t{1}, std::size_t{63}, std::size_t{64}, std::size_t{65}, whole.size() - 1}) {
    mutants.push_back(whole.substr(0, length));
  }
  for (std::size_t i = 0; i < 1000; ++i) {
    mutants.push_back(whole);  // the header's bits in order, then some of the rest
    const std::size_t bit = i < 512 ? i : 512 + random() % (8 * (whole.size() - 64));
    mutants.back()[bit / 8] = static_cast<char>(mutants.back()[bit / 8] ^ 1 << bit % 8);
  }
  const auto model = load(sealed, key);
  const auto printed = test::printedBy([&] {
    for (const std::string& mutant : mutants) {
      folder.write("stored", mutant);
      ASSERT_FALSE(use(*model, key));
      ASSERT_EQ(outputOf(*model), expected);
    }
  });
  EXPECT_EQ(printed.out + printed.error, "");
  EXPECT_EQ(compilationOf(*model).GetRefusedCompilations(), static_cast<int>(mutants.size()));
  folder.write("stored", whole);
  EXPECT_TRUE(use(*model, key));
}

}  // namespace
}  // namespace OMB
