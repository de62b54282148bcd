// Stored compilations, over the real engine: used where all is as it was, and in no other case.
#include <filesystem>
#include <random>

#include "ombrel/model/nn_compilation.h"

#include "backend/device.h"
#include "backend_fixture.h"
#include "networks.h"
#include "system/aes_gcm.h"
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

  const std::string file = folder / "stored";
  std::string weights, clear;
  bool stored = false;
  std::vector<float> expected;
};

TEST_F(Compilation, GivesTheSameBytesForThePairSealedOrInTheClear) {
  for (auto* model : {load(clear).release(), load(sealed, key).release()}) {
    const std::unique_ptr<INNModel> owner(model);
    ASSERT_TRUE(use(*model, key));
    const auto another = test::runnerOf(*model);
    EXPECT_EQ(outputOf(*model), expected);
    EXPECT_EQ(compilationOf(*model).GetRefusedCompilations(), 0);
  }
}

TEST_F(Compilation, IsSealedWhereverItIsWritten) {
  system::MemoryFile exported;  // shows that the search would find something
  const auto blob =
      std::make_shared<InferenceEngine::Blob>(weights.data(), weights.size(), nullptr);
  const auto network =
      InferenceEngine::Core(folder / "plugins.xml").ReadNetwork(contentsOf(clear + ".xml"), blob);
  Device(config()).Compile(network).Export(exported.path());
  const auto bytes = exported.bytes();
  const std::string inTheClear(bytes.begin(), bytes.end());
  std::string secret(kSentinel);
#if defined(__x86_64__)
  EXPECT_NE(inTheClear.find(secret), std::string::npos);
#else  // the engine there keeps other numbers, made of the weights
  secret = inTheClear.substr(inTheClear.size() / 2, 32);
#endif

  const std::string other = folder / "other";
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    ++files;
    if (entry.path().stem() == "model") continue;
    EXPECT_EQ(contentsOf(entry.path().string()).find(secret), std::string::npos) << entry;
  }
  EXPECT_EQ(files, 6);  // the two pairs, the list, the compilation
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(file).permissions(), perms::owner_read | perms::owner_write);
  ASSERT_TRUE(compilationOf(*load(sealed, key)).StoreCompilation(other.c_str(), key.data(), 16));
  EXPECT_NE(contentsOf(other).substr(16, 64),
            contentsOf(file).substr(16, 64));  // the salt, and all
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
    const std::unique_ptr<INNModel> model(Create({c.base.c_str(), nullptr, 0, c.config}));
    EXPECT_FALSE(use(*model, c.key));
    EXPECT_EQ(compilationOf(*model).GetRefusedCompilations(), 1);
  }
  const auto model = load(clear);
  auto& compilation = compilationOf(*model);
  EXPECT_FALSE(compilation.UseCompilation(file.c_str(), nullptr, 16));
  EXPECT_FALSE(compilation.StoreCompilation(file.c_str(), nullptr, 16));
  EXPECT_FALSE(compilation.StoreCompilation(file.c_str(), key.data(), 15));
  EXPECT_FALSE(compilation.StoreCompilation((folder / "no/folder").c_str(), key.data(), 16));
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
    for (std::size_t i = 0; i < mutants.size(); ++i) {
      folder.write("stored", mutants[i]);
      ASSERT_FALSE(use(*model, key));
      if (i % 40 != 0) continue;  // compiling would be most of the time
      ASSERT_EQ(outputOf(*model), expected);
    }
  });
  EXPECT_EQ(printed.out + printed.error, "");
  EXPECT_EQ(compilationOf(*model).GetRefusedCompilations(), static_cast<int>(mutants.size()));
  folder.write("stored", whole);
  EXPECT_TRUE(use(*model, key));
}

// Published with the cipher: a key and a block of zeros, and a nonce that is zero, too.
TEST(AesGcm, GivesThePublishedBytesOnEverySystem) {
  const ByteVector key(32), sealed = test::fromHex("cea7403d4d606b6e074ec5d3baf39d18");
  ByteVector message(16);
  system::GcmTag tag;
  ASSERT_EQ(system::sealOnce(std::span(key).first<32>(), {}, message, tag), 0);
  EXPECT_EQ(message, sealed);
  EXPECT_EQ(ByteVector(tag.begin(), tag.end()), test::fromHex("d0d1c8a799996bf0265b98b5d48ab919"));
  EXPECT_EQ(system::openSealed(std::span(key).first<32>(), {}, message, tag), 0);
  EXPECT_EQ(message, ByteVector(16));
  message = sealed;
  EXPECT_LT(system::openSealed(std::span(key).first<32>(), sealed, message, tag), 0);
}

}  // namespace
}  // namespace OMB
