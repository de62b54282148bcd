// Signed manifests, in a framework that was built with a key.
#include <string>

#include <gmock/gmock.h>

#include "ombrel/ombrel.h"

#include "plugin/built_in_trust.h"
#include "support.h"
#include "system/signature.h"

namespace OMB {
namespace {

using system::Signature;
using system::SigningKey;
using testing::HasSubstr;
using testing::ThrowsMessage;

template <typename Bytes>
Bytes bytesOf(std::string_view digits) {
  Bytes bytes;
  EXPECT_TRUE(Utility::decodeHex(digits, bytes));
  return bytes;
}

std::span<const unsigned char> messageOf(std::string_view text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

// The second of the examples in RFC 8032.
const auto kSeed =
    bytesOf<SigningKey>("4ccd089b28ff96da9db6c346ec114e0f5b8a319f35aba624da8cf6ed4fb8a6fb");
const auto kKey =
    bytesOf<SigningKey>("3d4017c3e843895a92b70aa74d1b7ebc9c982ccf2ec4968cc0cd55f12af4660c");
const auto kSignature = bytesOf<Signature>(
    "92a009a9f0d4cab8720e820b5f642540a2b27b5416503f8fb3762223ebdb69da"
    "085ac1e43e15996e458f3613d0f11d8c387b2eaeb4302aeeb00d291612bb0c00");

const ManifestTrust* builtIn = nullptr;

TEST(Signature, IsThatOfTheStandard) {
  EXPECT_EQ(system::publicKeyOf(kSeed), kKey);
  EXPECT_EQ(system::sign(kSeed, messageOf("r")), kSignature);
  EXPECT_TRUE(system::isSignedBy(kKey, messageOf("r"), kSignature));
  EXPECT_FALSE(system::isSignedBy(kKey, messageOf("s"), kSignature));
  EXPECT_FALSE(system::isSignedBy(kKey, messageOf(""), kSignature));
  EXPECT_FALSE(system::isSignedBy(kSeed, messageOf("r"), kSignature));
  for (std::size_t bit = 0; bit < 8 * kSignature.size(); ++bit) {
    Signature changed = kSignature;
    changed[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
    EXPECT_FALSE(system::isSignedBy(kKey, messageOf("r"), changed)) << bit;
  }
}

struct Trust : testing::Test {
  ~Trust() override { builtIn = nullptr; }

  void write(const Manifest& listed, const SigningKey& seed = kSeed) const {
    const std::string text = formatManifest(listed);
    folder.write("m.json", text);
    const Signature signature = *system::sign(seed, messageOf(text));
    folder.write("m.json.sig", ByteVector(signature.begin(), signature.end()));
  }
  /// What is said of the manifest; empty if it is taken.
  std::string errorOf(const ManifestTrust* given) const {
    try {
      const bool isPlain = given == nullptr;
      EXPECT_EQ(isPlain ? readManifest(file) : readManifest(file, *given), manifest);
    } catch (const UntrustedManifest& error) {
      return error.what();
    }
    return {};
  }

  const test::TemporaryDirectory folder;
  const std::string file = folder / "m.json";
  Manifest manifest{"p", ".", "I", "C", "", {{"l", {{{}, 1, 1}}}}, {}, false, 7};
};

TEST_F(Trust, IsGivenToTheNewestThatTheKeyHasSigned) {
  const ManifestTrust own{kKey, 7}, newer{kKey, 8}, other{kSeed, 0};
  write(manifest);
  builtIn = nullptr;
  EXPECT_EQ(errorOf(nullptr), "");
  EXPECT_EQ(errorOf(&own), "");
  EXPECT_EQ(errorOf(&newer), "is an older one: its counter is 7, and at least 8 is wanted");
  EXPECT_THAT(errorOf(&other), HasSubstr("is signed by another key"));
  builtIn = &own;
  EXPECT_EQ(errorOf(nullptr), "");
  builtIn = &newer;
  for (const ManifestTrust* given : {static_cast<const ManifestTrust*>(nullptr), &own}) {
    EXPECT_THAT(errorOf(given), HasSubstr("at least 8"));
  }
  builtIn = &other;
  EXPECT_THAT(errorOf(&own), HasSubstr("is signed by another key")) << "both have to be met";
}

TEST_F(Trust, IsNotGivenWithoutTheSignature) {
  const ManifestTrust own{kKey, 0};
  builtIn = &own;
  write(manifest);
  const std::string text = test::contentsOf(file), signature = test::contentsOf(file + ".sig");
  const struct {
    const char* name;
    std::string text, signature;
    const char* error;
  } cases[] = {
      {"changed", text + " ", signature, "is not what its signature is for"},
      {"not even a list", "{", signature, "is not what its signature is for"},
      {"cut", text.substr(1), signature, "is not what its signature is for"},
      {"empty", text, "", "m.json.sig is no signature of 64 bytes"},
      {"short", text, signature.substr(1), "m.json.sig is no signature of 64 bytes"},
      {"long", text, signature + "\n", "m.json.sig is no signature of 64 bytes"},
      {"zeros", text, std::string(64, '\0'), "is not what its signature is for"},
  };
  for (const auto& attack : cases) {
    SCOPED_TRACE(attack.name);
    folder.write("m.json", attack.text);
    folder.write("m.json.sig", attack.signature);
    EXPECT_THAT(errorOf(nullptr), HasSubstr(attack.error));
  }
  write(manifest, kKey);  // by another seed
  EXPECT_THAT(errorOf(nullptr), HasSubstr("is signed by another key"));
  std::filesystem::remove(test::pathOf(file + ".sig"));
  EXPECT_THAT(errorOf(nullptr), HasSubstr("is not signed: "));
  std::filesystem::remove(test::pathOf(file));
  EXPECT_THAT([&] { (void)readManifest(file); }, ThrowsMessage<ManifestError>("cannot be opened"));
}

}  // namespace

const ManifestTrust* builtInTrust() noexcept {
  return builtIn;
}

}  // namespace OMB
