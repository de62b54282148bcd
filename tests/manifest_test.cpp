// Manifests: what is read, what is refused, and the plug-in that comes of one.
#include <string>

#include <gmock/gmock.h>

#include "ombrel/ombrel.h"

#include "support.h"

namespace OMB {
namespace {

using testing::HasSubstr;

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

Manifest example() {
  return {"p",
          "f/",
          "I",
          "C",
          "",
          {{"l", {{{}, 1, 4294967295U}, {{7}, 0, 3}}}, {"m", {{{}, 0, 7}}, "../m.1"}},
          {{"a.xml", {1}}, {"b.xml", {2}}},
          true,
          0xFFFFFFFFFFFFFFFF};
}

TEST(Manifest, IsReadAsItWasWritten) {
  Manifest manifest = example();
  EXPECT_EQ(parseManifest(formatManifest(manifest)), manifest);
  manifest.files.clear();
  manifest.closed = false;
  manifest.counter = 0;
  EXPECT_EQ(parseManifest(formatManifest(manifest)), manifest);
  manifest.name = "\xff";
  EXPECT_THROW((void)formatManifest(manifest), ManifestError);
}

TEST(Manifest, IsReadStrictly) {
  const std::string text = formatManifest(example());
  const struct {
    const char *from, *to, *message;
  } faults[] = {
      {"\"p\"", "3", "\"name\" is not a string"},
      {"\"p\"", "\"\"", "\"name\" is empty"},
      {"\"p\"", "\"p\\u0000\"", "\"name\" holds a NUL"},
      {"\"p\"", "\"./p\"", "\"name\" is a relative path"},
      {"\"f/\"", "null", "\"folder\" is not a string"},
      {"\"create\"", "\"Create\"", "\"Create\" is not a known field"},
      {"\"model_suffix\": \"\",", "", "\"model_suffix\" is missing"},
      {"\"I\",", "\"I\", \"name\": \"q\",", "\"name\" stands twice in one object"},
      {"\"closed\"", "\"dependencies\": [], \"closed\"", "\"dependencies\" stands twice"},
      {"\"offset\": 1", "\"offset\": 1, \"offset\": 1", "\"offset\" stands twice"},
      {"\"m\"", "[]", "\"dependencies[1].name\" is not a string"},
      {"\"m\"", "\"l\"", "\"dependencies\" lists l twice"},
      {"\"m\"", "\"s/m\"", "\"dependencies[1].name\" is a relative path"},
      {"\"../m.1\"", "\"\"", "\"dependencies[1].file\" is empty"},
      {"\"offset\": 1", "\"offset\": -1", "\"dependencies[0].hashes[0].offset\" is not a whole"},
      {"\"offset\": 1", "\"offset\": 1.0", "offset\" is not a whole"},
      {"\"length\": 3", "\"length\": 0", "hashes[1].length\" is 0, and no bytes prove nothing"},
      {"4294967295", "4294967296", "length\" exceeds 32 bits"},
      {"4294967295", "1e999", "is not JSON"},
      {"00\"", "0\"", "sha256\" is not 64 hexadecimal digits"},
      {"00\"", "0g\"", "sha256\" is not 64 hexadecimal digits"},
      {"\"a.xml\"", "\"b.xml\"", "\"files\" lists b.xml twice"},
      {"\"a.xml\"", "\"../a.xml\"", "\"files[0].name\" is not the plain name of a file"},
      {"\"a.xml\"", "\"..\"", "\"files[0].name\" is not the plain name of a file"},
      {"true", "1", "\"closed\" is neither true nor false"},
      {"18446744073709551615", "-1", "\"counter\" is not a whole number"},
      {"18446744073709551615", "18446744073709551616", "\"counter\" is not a whole number"},
      {"{", "[{", "is not JSON"},
      {"\"f/\"", "\"\xff\"", "is not JSON"},
  };
  for (const auto& fault : faults) {
    SCOPED_TRACE(fault.to);
    EXPECT_THAT([&] { (void)parseManifest(replaced(text, fault.from, fault.to)); },
                testing::ThrowsMessage<ManifestError>(HasSubstr(fault.message)));
  }
  const std::string behind = text + std::string("\0 and more", 10);
  for (const std::string& bad :
       {std::string(100000, '['), std::string("[]"), std::string(), behind}) {
    EXPECT_THROW((void)parseManifest(bad), ManifestError);
  }
}

TEST(Manifest, ThatProvesNothingIsRefused) {
  Manifest none = example();
  none.dependencies.clear();
  EXPECT_THAT([&] { (void)parseManifest(formatManifest(none)); },
              testing::ThrowsMessage<ManifestError>(
                  "\"dependencies\" is empty, and nothing would be proven"));
  Manifest bare = example();
  bare.dependencies[1].hashes.clear();
  EXPECT_THAT([&] { (void)parseManifest(formatManifest(bare)); },
              testing::ThrowsMessage<ManifestError>(
                  "\"dependencies[1].hashes\" is empty, and nothing would be accepted"));
}

TEST(Manifest, GivesThePluginWithItsDependencies) {
  const test::TemporaryDirectory folder;
  const std::string file = folder.write("m.json", formatManifest(example()));
  const Manifest manifest = readManifest(file);
  EXPECT_EQ(test::pathOf(pluginFolder(file, manifest)), test::pathOf(folder / "f"));
  EXPECT_THAT([&] { (void)readManifest(folder / "none"); },
              testing::ThrowsMessage<ManifestError>("cannot be opened"));

  const DynamicPlugin plugin = makePlugin(manifest);
  EXPECT_STREQ(plugin.GetName(), "p");
  const Repository<Dependency> dependencies = makeDependencies(manifest);
  ASSERT_EQ(dependencies.GetCount(), 2);
  EXPECT_STREQ(dependencies.GetAt(1).GetName(), "m");
  const std::vector<HashRange> hashes = dependencies.GetAt(0).GetHash();
  ASSERT_EQ(hashes.size(), 2U);
  EXPECT_EQ(hashes[0], HashRange(ByteVector(32), 1U, 4294967295U));
  EXPECT_EQ(std::get<0>(hashes[1])[0], 7);
}

}  // namespace
}  // namespace OMB
