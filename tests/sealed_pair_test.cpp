// Sealed pairs through the backend: with their key and without, with tags, from buffers, changed.
#include <cstdio>
#include <memory>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "ombrel/model/model_buffers.h"

#include "backend/openvino_model.h"
#include "backend/openvino_runner.h"
#include "backend/stored_pair.h"
#include "backend_fixture.h"
#include "networks.h"

namespace OMB {
namespace {

using namespace std::string_literals;

using test::doublingNetwork;
using test::expectDoubles;
using test::expectThrow;
using test::Printed;
using test::printedBy;
using test::runnerOf;
using test::scalingNetwork;

class Sealed : public test::BackendTest {
 protected:
  Sealed() : clear(pair("clear", doublingNetwork("1,3"))) { seal(clear); }

  const std::string clear;
};

TEST_F(Sealed, LoadsWithItsKeyOnly) {
  EXPECT_THAT(test::contentsOf(sealed + ".xml"), testing::Not(testing::HasSubstr("net")));
  const auto model = load(sealed, key);
  ASSERT_TRUE(model->IsLoaded());
  expectDoubles(*runnerOf(*model), 3);

  // The key size of a pair in the clear is not looked at.
  std::unique_ptr<INNModel> open(Create({clear.c_str(), nullptr, -5, config()}));
  EXPECT_TRUE(open->IsLoaded());
  EXPECT_THAT(refusal(sealed).error, testing::EndsWith("\n"));
}

ModelBuffers::Bytes bytesOf(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

TEST_F(Sealed, BuffersStandForThePairWhileTheyAreEntered) {
  tool::sealPair(pair("clear", doublingNetwork("1,3"), "x"), sealed, key);
  const std::string text = test::contentsOf(sealed + ".xml");
  const std::string weights = test::contentsOf(sealed + ".bin");
  const std::string tags = test::contentsOf(sealed + ".auth");
  const std::string name = pair("both", "no network at all");  // the buffers come first
  std::unique_ptr<INNModel> model;
  {
    const ModelBuffers entered(name, {bytesOf(text), bytesOf(weights), bytesOf(tags)});
    const ModelBuffers forged("forged", {bytesOf(text), bytesOf(text), bytesOf(tags)});
    EXPECT_THAT(refusal("forged", key).error, testing::StartsWith("forged.bin "));
    const ModelBuffers half("half", {bytesOf(text), {}});
    model = load(name, key);
    EXPECT_FALSE(load("half", key)->IsLoaded());
    EXPECT_FALSE(load("Half", key)->IsLoaded());
    EXPECT_EQ(modelFileSize(name, ".auth"), static_cast<std::int64_t>(tags.size()));
    for (const char* extension : {".bin", ".auth", ".else"}) {
      EXPECT_EQ(modelFileSize("half", extension), -1) << extension;
    }
    std::string read = "123456789";
    readModelFile(name, ".auth", read.data(), 4);
    EXPECT_EQ(read, "OMBR56789");
    for (const std::string& refused : {name, std::string(), std::string("a\0b", 3)}) {
      EXPECT_THROW(ModelBuffers(refused, {}), std::invalid_argument);
    }
  }
  ASSERT_TRUE(model->IsLoaded());
  expectDoubles(*runnerOf(*model), 3);
  EXPECT_EQ(modelFileSize(name, ".auth"), -1);
  refusal(name);  // the file's text
}

TEST_F(Sealed, BuffersComeAndGoWhileOthersLoad) {
  const std::string text = doublingNetwork("1,3");
  const auto work = [&](const std::string& name) {
    for (int i = 0; i < 20; ++i) {
      const ModelBuffers entered(name, {bytesOf(text), bytesOf(text)});
      EXPECT_TRUE(load(name)->IsLoaded());
    }
  };
  std::thread other(work, "one");
  work("other");
  other.join();
}

TEST_F(Sealed, KeysThatCannotBeAreRefusedForBothFiles) {
  const std::string message = "**** Error 0xc000000d returned by BCryptGenerateSymmetricKey\n";
  for (const std::size_t size :
       {std::size_t{15}, std::size_t{1}, std::size_t{17}, std::size_t{32}}) {
    const Printed printed = refusal(sealed, ByteVector(size, 1));
    EXPECT_EQ(printed.out, message + message) << size;
    EXPECT_THAT(printed.error, testing::EndsWith("\n")) << size;
  }
}

// Of a network that needs no weights the engine would not look at what a failure leaves.
TEST_F(Sealed, PairsThatDoNotDecipherAreRefusedWhateverTheNetworkNeeds) {
  const std::string text = test::contentsOf(sealed + ".xml");
  const std::string weights = test::contentsOf(sealed + ".bin");
  for (const char* extension : {".bin", ".xml"}) {
    const std::string whole = extension == std::string(".bin") ? weights : text;
    for (const std::string& broken : {std::string("short"), whole + "x"}) {
      folder.write(std::string("sealed") + extension, broken);
      const Printed printed = refusal(sealed, key);
      EXPECT_EQ(printed.out, "**** Error 0xc0000206 returned by BCryptDecrypt\n");
      EXPECT_EQ(printed.error, "The model could not be decrypted\n");
    }
    folder.write("sealed.bin", weights);
  }
  // What deciphers to nothing, and what to zeros without an end, as a broken provider leaves it.
  for (const std::size_t size : {std::size_t{0}, std::size_t{16}}) {
    seal(pair("clear", doublingNetwork("1,3"), std::string(size, '\0')));
    folder.write("sealed.bin", test::contentsOf(sealed + ".bin").substr(0, 16));
    const Printed printed = refusal(sealed, key);
    EXPECT_EQ(printed.out, "");
    EXPECT_EQ(printed.error, "The model could not be decrypted\n");
  }
}

// There is no integrity check: what is told from a sound pair is told by the engine, or by a last
// byte that is greater than what there is.
TEST_F(Sealed, MutantsEndInRefusalOrInTheLengthError) {
  enum Kind { flipText, flipWeights, cut, extend, swap, wrongKey, shortKey, otherIv, kinds };
  seal(pair("clear", scalingNetwork("1,3"), std::string(64, '\0')));
  const std::string text = test::contentsOf(sealed + ".xml");
  const std::string weights = test::contentsOf(sealed + ".bin");

  std::mt19937 random(4711);
  const auto flip = [&](std::string& bytes, std::size_t end) {
    bytes[random() % end] ^= static_cast<char>(1 + random() % 255);
  };
  // Under an IV that is off by a byte, what the first block deciphers to is off by the same.
  const auto sealedUnderOtherIv = [&] {
    std::string plain = test::contentsOf(clear + ".xml");
    flip(plain, 16);
    seal(pair("shifted", plain));
    return test::contentsOf(sealed + ".xml");
  };
  int loaded[kinds] = {}, tooLong = 0, refused = 0;
  // The thousand are told apart by code that is the same everywhere, so Windows runs few.
  for (int i = 0; i < (test::kOnWindows ? 80 : 1000); ++i) {
    const int kind = i % kinds;
    std::string xml = text, bin = weights;
    ByteVector used = key;
    std::string& either = i / kinds % 2 == 0 ? xml : bin;
    if (kind == flipText) flip(xml, xml.size());
    if (kind == flipWeights) flip(bin, bin.size());
    if (kind == cut) either.resize(random() % either.size());
    if (kind == extend) either.append(1 + random() % 40, 'x');
    if (kind == swap) std::swap(xml, bin);
    if (kind == wrongKey) used[random() % 16] ^= static_cast<unsigned char>(1 + random() % 255);
    if (kind == shortKey) used.resize(i / kinds % 2 == 0 ? 15 : random() % 15);
    if (kind == otherIv) xml = sealedUnderOtherIv();
    const std::string base = pair("mutant", xml, bin);
    used.reserve(1);  // never null, which stands for no key
    (void)printedBy([&] {
      try {
        const std::unique_ptr<INNModel> model(
            Create({base.c_str(), used.data(), static_cast<int>(used.size()), config()}));
        ++(model->IsLoaded() ? loaded[kind] : refused);
      } catch (const std::length_error& failure) {
        EXPECT_STREQ(failure.what(), "vector too long");
        ++tooLong;
      }
    });
  }
  std::printf(
      "%d refused, %d too long; loaded in spite of a change in the text %d, in the weights %d,"
      " of a cut %d, of more %d, of another IV %d\n",
      refused, tooLong, loaded[flipText], loaded[flipWeights], loaded[cut], loaded[extend],
      loaded[otherIv]);
  for (const Kind kind : {swap, wrongKey, shortKey, otherIv}) EXPECT_EQ(loaded[kind], 0) << kind;
}

// With tags there is one, and nothing is deciphered before it has passed.
TEST_F(Sealed, NoChangeOfAPairWithTagsIsLoaded) {
  tool::sealPair(pair("clear", scalingNetwork("1,3"), std::string(64, '\1')), sealed, key);
  ASSERT_TRUE(load(sealed, key)->IsLoaded());
  std::mt19937 random(4711);
  for (int i = 0; i < 1000; ++i) {
    const std::string suffix = std::vector{".xml", ".bin", ".auth"}[random() % 3];
    const std::string whole = test::contentsOf(sealed + suffix);
    std::string changed = whole;
    const std::size_t bit = random() % (8 * whole.size());
    changed[bit / 8] ^= static_cast<char>(1 << bit % 8);
    folder.write("sealed" + suffix, changed);
    const Printed printed = refusal(sealed, key);
    EXPECT_EQ(printed.out, "");
    EXPECT_THAT(printed.error, testing::StartsWith(sealed + ".")) << suffix << " " << bit;
    EXPECT_EQ(printed.error.find('\n'), printed.error.size() - 1);
    folder.write("sealed" + suffix, whole);
  }
  for (const std::size_t size : {15U, 16U, 17U}) {
    EXPECT_EQ(refusal(sealed, ByteVector(size, 1)).error,
              sealed + ".auth was made with another key, or its first bytes were changed\n");
  }
}

TEST_F(Sealed, TagsAreMissedOnlyWhereTheyAreRequired) {
  EXPECT_NO_THROW((void)readSealedPair(sealed, key, false));
  expectThrow<InferenceEngine::GeneralError>([&] { (void)readSealedPair(sealed, key, true); },
                                             (sealed + ".auth cannot be opened").c_str());
  folder.write("sealed.auth", "");
  EXPECT_THAT(refusal(sealed, key).error, testing::HasSubstr("does not hold tags"));
}

}  // namespace
}  // namespace OMB
