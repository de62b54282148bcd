// The host program: its parts, and the program itself over a plug-in that echoes its input.
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <string>
#include <sys/wait.h>
#include <vector>

#include <gmock/gmock.h>

#include "ombrel/platform/crypto.h"

#include "build_constants.h"
#include "exit_codes.h"
#include "files.h"
#include "image_file.h"
#include "key.h"
#include "latencies.h"
#include "manifest.h"
#include "seal_command.h"
#include "support.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

using test::contentsOf;
using test::fromHex;
using test::TemporaryDirectory;
using testing::HasSubstr;

const std::string keyDigits = "0102030405060708090A0b0c0d0e0f10";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST(Manifest, IsReadStrictly) {
  const Manifest good = {"p", "f/", "I", "C", "", {{"l", {{{}, 1, 4294967295U}}}, {"m", {}}}};
  const std::string text = formatManifest(good);
  EXPECT_EQ(parseManifest(text), good);

  const struct {
    const char *from, *to, *message;
  } faults[] = {
      {"\"p\"", "3", "\"name\" is not a string"},
      {"\"p\"", "\"\"", "\"name\" is empty"},
      {"\"p\"", "\"p\\u0000\"", "\"name\" holds a NUL"},
      {"\"f/\"", "null", "\"folder\" is not a string"},
      {"\"create\"", "\"Create\"", "\"Create\" is not a known field"},
      {"\"model_suffix\": \"\",", "", "\"model_suffix\" is missing"},
      {"\"m\"", "[]", "\"dependencies[1].name\" is not a string"},
      {"[]", "{}", "\"dependencies[1].hashes\" is not a list"},
      {"\"offset\": 1", "\"offset\": -1", "\"dependencies[0].hashes[0].offset\" is not a whole"},
      {"\"offset\": 1", "\"offset\": 1.0", "offset\" is not a whole"},
      {"4294967295", "4294967296", "length\" exceeds 32 bits"},
      {"00\"", "0\"", "sha256\" is not 64 hexadecimal digits"},
      {"00\"", "0g\"", "sha256\" is not 64 hexadecimal digits"},
      {"{", "[{", "is not JSON"},
      {"\"f/\"", "\"\xff\"", "is not JSON"},
  };
  for (const auto& fault : faults) {
    SCOPED_TRACE(fault.to);
    EXPECT_THAT([&] { parseManifest(replaced(text, fault.from, fault.to)); },
                testing::ThrowsMessage<ManifestError>(HasSubstr(fault.message)));
  }
  for (const std::string& bad : {std::string(1000000, '['), std::string("[]"), std::string()}) {
    EXPECT_THROW(parseManifest(bad), ManifestError);
  }
}

TEST(Key, LeavesTheCommandLine) {
  for (std::vector<std::string> line : {std::vector<std::string>{"seal", "--key", keyDigits},
                                        std::vector<std::string>{"ombrel", "--key=" + keyDigits}}) {
    std::vector<char*> arguments;
    for (std::string& argument : line) arguments.push_back(argument.data());
    EXPECT_EQ(takeKey(arguments), fromHex(keyDigits));
    EXPECT_THAT(line, testing::Each(Not(HasSubstr("0102"))));
  }
  for (const std::string& bad :
       {std::string(), keyDigits.substr(1), keyDigits + "0", replaced(keyDigits, "0b", "0x")}) {
    EXPECT_THROW((void)parseKey(bad), ToolError) << bad;
  }
}

TEST(Seal, IsWhatTheFrameworkDecrypts) {
  const TemporaryDirectory folder;
  ByteVector key = fromHex(keyDigits);
  ByteVector iv(modelIv, modelIv + sizeof modelIv);
  ByteVector mask(keyMask, keyMask + sizeof keyMask);
  for (const std::size_t length : {0U, 1U, 2U, 15U, 16U, 17U, 31U, 32U, 33U, 1U << 20, 1048581U}) {
    std::string plain(length, '\0');
    std::iota(plain.begin(), plain.end(), '\1');
    PendingFile sealed(folder / "sealed");
    sealFile(folder.write("plain", plain), sealed, key);
    sealed.commit();
    EXPECT_EQ(contentsOf(folder / "sealed").size(), (length / 16 + 1) * 16);
    const ByteVector read = Crypto::decryptFile((folder / "sealed").c_str(), iv.data(), 16,
                                                key.data(), 16, mask.data());
    EXPECT_EQ(std::string(read.begin(), read.end()), plain) << length;
  }
}

TEST(PendingFile, LeavesWhatWasThereUntilItIsCommitted) {
  const TemporaryDirectory folder;
  const std::string place = folder.write("place", "old");
  PendingFile(place).write("lost");
  PendingFile file(place);
  file.write("new");
  EXPECT_EQ(contentsOf(place), "old");
  file.commit();
  EXPECT_EQ(contentsOf(place), "new");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
  EXPECT_THROW(PendingFile{folder.path()}, ToolError);
}

/// A PPM whose samples count up from `first`.
std::string makePpm(ImageSize size, char first = 0) {
  std::string samples(sampleCount(size), '\0');
  std::iota(samples.begin(), samples.end(), first);
  return "P6 " + std::to_string(size.width) + " " + std::to_string(size.height) + " 255\n" +
         samples;
}

TEST(Image, IsCutFromTheMiddleAndResized) {
  using Samples = std::vector<unsigned char>;
  const TemporaryDirectory folder;
  const Image photo = readImage(folder.write("a.ppm", makePpm({6, 2})));
  EXPECT_EQ(photo.size, (ImageSize{6, 2}));
  EXPECT_EQ(fitImage(photo, {6, 2}).samples, photo.samples);
  EXPECT_EQ(fitImage(photo, {2, 2}).samples, (Samples{6, 7, 8, 9, 10, 11, 24, 25, 26, 27, 28, 29}));
  const Image tall = readImage(folder.write("b.ppm", makePpm({1, 5})));
  EXPECT_EQ(fitImage(tall, {1, 1}).samples, (Samples{6, 7, 8}));

  // What is cut off leaves no trace, and a plain field stays plain, whatever the sizes.
  Image framed{{40, 20}, Samples(sampleCount({40, 20}), 255)};
  for (int row = 0; row < 20; ++row) {
    std::fill_n(framed.samples.begin() + (row * 40 + 10) * 3, 60, '\x40');
  }
  for (const ImageSize size : {ImageSize{10, 10}, ImageSize{33, 33}, ImageSize{1, 1}}) {
    EXPECT_THAT(fitImage(framed, size).samples, testing::Each(0x40)) << size.width;
  }

  const ByteVector png = fromHex(
      "89504e470d0a1a0a0000000d4948445200000002000000010806000000f4227f8a000000114944415478da63fe"
      "cfc8f4bf85e527230011390387bf2558280000000049454e44ae426082");
  EXPECT_EQ(readImage(folder.write("c.png", png)).samples, (Samples{255, 1, 2, 3, 4, 250}));
}

TEST(Image, SizeIsTwoNumbersThatCanBeMultiplied) {
  ImageSize size;
  EXPECT_TRUE(parseSize("320x224", size));
  EXPECT_EQ(size, (ImageSize{320, 224}));
  for (const char* bad :
       {"", "320", "320x", "x224", "0x1", "-1x1", "1x1 ", "3,2", "32768x32768", "99999999999x1"}) {
    EXPECT_FALSE(parseSize(bad, size)) << bad;
  }
}

TEST(Latencies, AreRankedByShare) {
  std::vector<double> times(1000);
  std::iota(times.rbegin(), times.rend(), 1.0);
  const Latencies latencies(times);
  EXPECT_EQ(Latencies({3, 1, 2}).percentile(40), 2);
  EXPECT_EQ(latencies.percentile(99.9), 999);
  EXPECT_EQ(latencies.percentile(100), 1000);
  EXPECT_EQ(latencies.mean(), 500.5);
  EXPECT_EQ(Latencies({7}).percentile(0.1), 7);
  EXPECT_THAT(Latencies({7, 7}).histogram(), HasSubstr("  2\n"));
}

class Program : public testing::Test {
 protected:
  Program() {
    std::filesystem::copy_file(OMBREL_ECHO_PLUGIN, library);
    for (const char* name : {"plugins.xml", "net.xml", "net.bin", "fails.xml", "fails.bin"}) {
      folder.write(name, "x");
    }
    folder.write("a.ppm", makePpm({4, 2}));
    folder.write("b.ppm", makePpm({8, 4}, 100));
    succeed("digest libecho.so --manifest m.json");
  }

  /// Runs the program in the folder. What it prints is in `out` and `error` then.
  ExitCode run(const std::string& arguments) {
    const std::string command = "cd '" + folder.path().string() + "' && '" OMBREL_PROGRAM "' " +
                                arguments + " >out 2>error </dev/null";
    const int status = std::system(command.c_str());
    out = contentsOf(folder / "out");
    error = contentsOf(folder / "error");
    return static_cast<ExitCode>(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
  }

  void succeed(const std::string& arguments) {
    EXPECT_EQ(run(arguments), ExitCode::Success) << arguments << ": " << error;
  }

  std::vector<float> rawOutput(const std::string& options) {
    succeed("run net a.ppm --raw raw " + options + plain);
    const std::string bytes = contentsOf(folder / "raw");
    std::vector<float> values(bytes.size() / sizeof(float));
    std::memcpy(values.data(), bytes.data(), bytes.size());
    return values;
  }

  TemporaryDirectory folder;
  const std::string library = folder / "libecho.so", plain = " --size 4x2 --plugin m.json";
  std::string out, error;
};

TEST_F(Program, RunsAnImageInEveryForm) {
  std::vector<float> expected(24);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    expected[i] = static_cast<float>(i % 8 * 3 + i / 8) * (1.0F / 255.0F);
  }
  for (const char* form : {"u8-hwc", "u8-chw", "f32-hwc", "f32-chw", "input-buffer"}) {
    EXPECT_EQ(rawOutput(std::string("--as ") + form), expected) << form;
  }
  EXPECT_EQ(rawOutput("--key " + keyDigits).front(), 1.0F);
  EXPECT_EQ(rawOutput("b.ppm").size(), 48U);

  folder.write("labels", "first\nsecond\r\n");
  succeed("run net a.ppm --labels labels --top 24" + plain);
  EXPECT_THAT(out, testing::MatchesRegex("a.ppm  [0-9.]+ ms\n  class 23 +0.0902\n.*"
                                         "  second +0.0118\n.*  first +0.0000\n"));
  EXPECT_THAT(error, HasSubstr("labels has 2 labels, the network puts out 24 values"));
}

TEST_F(Program, EndsEachFailureWithItsCodeAndOneLine) {
  const std::string manifest = contentsOf(folder / "m.json");
  folder.write("bad.json", "{}");
  folder.write("lost.json", replaced(manifest, "libecho", "liblost"));
  folder.write("noinit.json", replaced(manifest, "Initialize", "Finalize"));
  folder.write("nocreate.json", replaced(manifest, "\"Create", "\"Destroy"));
  folder.write("c.cfg", "DataPath elsewhere/");
  folder.write("note.png", "no image");
  const struct {
    std::string arguments;
    ExitCode code;
    const char* message;
  } rows[] = {
      {"", ExitCode::Usage, "subcommand is required"},
      {"run net a.ppm --plugin m.json", ExitCode::Usage, "--size is required"},
      {"run net a.ppm --size 4", ExitCode::Usage, "\"4\" is not WxH"},
      {"run net a.ppm --as u9" + plain, ExitCode::Usage, "u9"},
      {"digest m.json --range 3", ExitCode::Usage, "not OFFSET:LENGTH"},
      {"run net a.ppm --key 12" + plain, ExitCode::BadKey, "not 32 hexadecimal digits"},
      {"run net a.ppm --labels no" + plain, ExitCode::File, "cannot open no"},
      {"run net a.ppm --config no" + plain, ExitCode::File, "configuration file no"},
      {"run net a.ppm --raw no/raw" + plain, ExitCode::File, "cannot write no/raw"},
      {"run net no.ppm" + plain, ExitCode::Image, "no.ppm"},
      {"run net note.png" + plain, ExitCode::Image, "note.png"},
      {"run net a.ppm --size 4x2 --plugin bad.json", ExitCode::Manifest, "\"name\" is missing"},
      {"run net a.ppm --size 4x2 --plugin lost.json", ExitCode::Plugin, "code -1, its library"},
      {"run net a.ppm --size 4x2 --plugin noinit.json", ExitCode::Plugin, "code -4, "},
      {"run net a.ppm --size 4x2 --plugin nocreate.json", ExitCode::Plugin, "create entry"},
      {"run net.xml a.ppm" + plain, ExitCode::Model, "name the model without .xml"},
      {"run net a.ppm --config c.cfg" + plain, ExitCode::Model, "cannot load model net"},
      {"run net a.ppm --threads 13" + plain, ExitCode::Runner, "not ready"},
      {"run net a.ppm --as input-buffer --size 9x9 --plugin m.json", ExitCode::Run, "9x9 has more"},
      {"run net a.ppm --size 4x1 --plugin m.json", ExitCode::Run, "4x1 has fewer samples"},
      {"run fails a.ppm" + plain, ExitCode::Run, "the echo fails, in two lines"},
      {"bench fails" + plain, ExitCode::Run, "the echo fails, in two lines"},
      {"seal net net --key " + keyDigits, ExitCode::File, "will not overwrite the input net.xml"},
      {"seal no new --key " + keyDigits, ExitCode::File, "cannot open no.xml"},
      {"digest a.ppm --range 4294967295:1", ExitCode::File, "the range goes beyond"},
      {"check --plugin lost.json", ExitCode::Plugin, "cannot load plug-in liblost.so"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    EXPECT_EQ(run(row.arguments), row.code);
    EXPECT_THAT(error, testing::MatchesRegex("ombrel: [^\n]*\n"));
    EXPECT_THAT(error, HasSubstr(row.message));
    EXPECT_FALSE(std::filesystem::exists(folder / "new.xml"));
  }
}

TEST_F(Program, AcceptsTheLibraryOfTheManifestOnly) {
  succeed("check --plugin m.json");
  EXPECT_THAT(out, testing::MatchesRegex("libecho.so +ok +/.*/libecho.so\n.*"));
  folder.write("libecho.so", replaced(contentsOf(library), "the echo", "The echo"));
  EXPECT_EQ(run("check --plugin m.json"), ExitCode::Check);
  EXPECT_THAT(out, testing::MatchesRegex("libecho.so +refused +/.*/libecho.so\n"));
  EXPECT_EQ(run("run net a.ppm" + plain), ExitCode::Plugin);
  EXPECT_THAT(error, HasSubstr("Integrity check failed.\nombrel: cannot load plug-in libecho.so"));
  EXPECT_THAT(error, HasSubstr("code -7, "));

  // A second digest is an alternative; the same one again changes nothing.
  succeed("digest libecho.so --range 0:64 --manifest m.json --name libecho");
  const std::string extended = contentsOf(folder / "m.json");
  EXPECT_EQ(parseManifest(extended).dependencies.at(0).hashes.size(), 2U);
  succeed("digest libecho.so --range 0:64 --manifest m.json");
  EXPECT_EQ(contentsOf(folder / "m.json"), extended);
  succeed("run net a.ppm" + plain);
}

TEST_F(Program, SealsAPairAndMeasuresSeveralRunners) {
  succeed("seal net new --key " + keyDigits);
  EXPECT_EQ(contentsOf(folder / "new.xml").size(), 16U);
  EXPECT_EQ(contentsOf(folder / "new.bin"), contentsOf(folder / "new.xml"));
  EXPECT_THAT(out + error, Not(HasSubstr(keyDigits)));

  succeed("bench net --runners 3 --seconds 0.05 --json j" + plain);
  EXPECT_THAT(out, HasSubstr("3 runners"));
  EXPECT_THAT(contentsOf(folder / "j"),
              testing::AllOf(HasSubstr("\"p99.9\""), HasSubstr("\"runners\": 3")));
  EXPECT_EQ(error, "");
}

}  // namespace
}  // namespace OMB::tool
