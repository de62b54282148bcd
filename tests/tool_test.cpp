// The parts of the host program.
#include <cmath>
#include <cstring>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "ombrel/platform/crypto.h"

#include "build_constants.h"
#include "drawn_answer.h"
#include "exif_orientation.h"
#include "files.h"
#include "image_file.h"
#include "input_size.h"
#include "key.h"
#include "latencies.h"
#include "latency_plot.h"
#include "output_form.h"
#include "seal_command.h"
#include "support.h"
#include "tool_error.h"

#if !defined(_WIN32)  // which has no folders to write through, and names a file by another call
#include <sys/stat.h>

extern "C" {
int __real_fsync(int file);
int __real_rename(const char* from, const char* to);
int __wrap_fsync(int file);
int __wrap_rename(const char* from, const char* to);
}
#endif

namespace OMB::tool {
namespace {

using test::contentsOf;
using test::fromHex;
using test::TemporaryDirectory;
using testing::HasSubstr;

const std::string kKeyDigits = "0102030405060708090A0b0c0d0e0f10";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST(Key, LeavesTheCommandLine) {
  for (std::vector<std::string> line :
       {std::vector<std::string>{"seal", "--key", kKeyDigits},
        std::vector<std::string>{"ombrel", "--key=" + kKeyDigits}}) {
    std::vector<char*> arguments;
    for (std::string& argument : line) arguments.push_back(argument.data());
    EXPECT_EQ(takeKey(arguments), fromHex(kKeyDigits));
    EXPECT_THAT(line, testing::Each(Not(HasSubstr("0102"))));
  }
  for (const std::string& bad :
       {std::string(), kKeyDigits.substr(1), kKeyDigits + "0", replaced(kKeyDigits, "0b", "0x")}) {
    EXPECT_THROW((void)parseKey(bad), ToolError) << bad;
  }
}

TEST(Seal, IsWhatTheFrameworkDecrypts) {
  const TemporaryDirectory folder;
  ByteVector key = fromHex(kKeyDigits);
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

#if !defined(_WIN32)
/// What a test's file operations were, in their order.
std::string& calls() {
  static std::string list;
  return list;
}

TEST(PendingFile, IsOnTheDiskBeforeItHasItsName) {
  const TemporaryDirectory folder;
  PendingFile first(folder / "first");
  PendingFile second(folder / "second");
  calls().clear();
  commitTogether({&first, &second});
  EXPECT_EQ(calls(), "file file name folder name folder ");

  // What cannot be put in place at the end, when the other one is there already.
  PendingFile weights(folder / "weights");
  PendingFile text(folder / "text");
  std::filesystem::create_directory(folder / "text");
  EXPECT_THAT(
      [&] {
        commitTogether({&weights, &text});
      },
      testing::ThrowsMessage<ToolError>(AllOf(
          HasSubstr("cannot write " + (folder / "text") + ": Is a directory; "),
          HasSubstr((folder / "weights") + " is new, and of no use with what stands there"))));
}
#endif

/// A PPM whose samples count up from `first`.
std::string makePpm(ImageSize size) {
  std::string samples(sampleCount(size), '\0');
  std::iota(samples.begin(), samples.end(), '\0');
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

TEST(Image, StandsAsItsExifSegmentSays) {
  // Pixels a b c over d e f, as each of the eight orientations shows them.
  const Image stored{
      {3, 2},
      {'a', 'a', 'a', 'b', 'b', 'b', 'c', 'c', 'c', 'd', 'd', 'd', 'e', 'e', 'e', 'f', 'f', 'f'}};
  const char* const upright[] = {"abcdef", "cbafed", "fedcba", "defabc",
                                 "adbecf", "daebfc", "fcebda", "cfbead"};
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const Image turned = turnUpright(stored, orientation);
    EXPECT_EQ(turned.size.width, orientation < 5 ? 3 : 2);
    std::string pixels;
    for (std::size_t i = 0; i < turned.samples.size(); i += 3)
      pixels += static_cast<char>(turned.samples[i]);
    EXPECT_EQ(pixels, upright[orientation - 1]) << orientation;
  }

  const std::string before = "ffd8ffe000044a46ffffe1001e457869660000";
  const ByteVector little = fromHex(before +
                                    "49492a00080000000100120103000100000006000000"
                                    "ffda");
  const ByteVector big = fromHex(before +
                                 "4d4d002a000000080001011200030000000100080000"
                                 "ffda");
  EXPECT_EQ(exifOrientation(little), 6);
  EXPECT_EQ(exifOrientation(big), 8);
  for (ByteVector file : {little, big}) {
    for (std::size_t i = 0; i < file.size(); ++i) {
      // In memory of its own, behind whose end a sanitizer sees every read.
      const std::vector cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(i));
      EXPECT_THAT(exifOrientation(cut), testing::AllOf(testing::Ge(1), testing::Le(8)));
      for (const int flipped : {0x01, 0x80, 0xFF}) {
        std::vector changed(file.begin(), file.end());
        changed[i] = static_cast<unsigned char>(changed[i] ^ flipped);
        EXPECT_THAT(exifOrientation(changed), testing::AllOf(testing::Ge(1), testing::Le(8)));
      }
    }
  }
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

/// A model that tells what it takes, and does nothing.
class DescribedModel final : public INNModel, public INNDescription {
 public:
  explicit DescribedModel(std::vector<std::size_t> inputShape) : shape(std::move(inputShape)) {}

  INNRunner* CreateRunner() override { return nullptr; }
  bool IsLoaded() override { return true; }
  int GetOutputSize() override { return 1; }
  EDataType GetDataType() override { return EDataType::FP32; }
  ImageUtils::ELayoutType GetLayout() override { return ImageUtils::ELayoutType::CHW; }
  std::vector<NNTensorInfo> GetInputs() override { return {{"x", ETensorType::FP32, shape}}; }
  std::vector<NNTensorInfo> GetOutputs() override { return GetInputs(); }

 private:
  std::vector<std::size_t> shape;
};

TEST(InputSize, IsTheModelsOwnAndNoOther) {
  DescribedModel wide({1, 3, 224, 320}), grey({1, 1, 224, 320}), row({1, 30}), open({1, 3, 0, 320});
  const ImageSize size{320, 224}, turned{224, 320};
  EXPECT_EQ(chooseSize(wide, std::nullopt), size);
  EXPECT_EQ(chooseSize(wide, size), size);
  EXPECT_EQ(chooseSize(row, size), size);
  EXPECT_EQ(chooseSize(open, size), size);
  const auto codeOf = [](INNModel& model, std::optional<ImageSize> asked) {
    try {
      (void)chooseSize(model, asked);
    } catch (const ToolError& error) {
      return error.code;
    }
    return ExitCode::Success;
  };
  EXPECT_EQ(codeOf(wide, turned), ExitCode::Run);
  EXPECT_EQ(codeOf(grey, size), ExitCode::Run);
  EXPECT_EQ(codeOf(row, std::nullopt), ExitCode::Usage);
  EXPECT_EQ(codeOf(open, std::nullopt), ExitCode::Usage);
}

TEST(DrawnAnswer, LiesWhereTheNetworkSawIt) {
  constexpr ImageSize size{8, 4};
  const Image photo{{640, 320}, std::vector<unsigned char>(sampleCount({640, 320}), 100)};
  const auto brightness = [](const Image& image, std::size_t x, std::size_t y) {
    const std::size_t at = (y * static_cast<std::size_t>(image.size.width) + x) * 3;
    return image.samples[at] + image.samples[at + 1] + image.samples[at + 2];
  };
  const auto draw = [&](const OutputForm& form, const std::vector<float>& values) {
    const Image drawn = drawAnswer(photo, form, values, {"first"}, 5);
    EXPECT_GT(drawn.size.height, 320);
    return drawn;
  };
  // The only high value is that of the right lower corner.
  const OutputForm map{1, 2, 2, size}, areas{2, 2, 2, size}, boxes{1, 2, 7, size},
      row{1, 1, 4, size};
  EXPECT_EQ(kindOf(map), OutputKind::Map);
  const Image heat = draw(map, {0, 0, 0, 1});
  EXPECT_GT(brightness(heat, 600, 300), 400);
  EXPECT_LT(brightness(heat, 40, 20), 300);
  EXPECT_EQ(kindOf(areas), OutputKind::Areas);
  const Image coloured = draw(areas, {1, 1, 1, 0, 0, 0, 0, 1});
  EXPECT_EQ(brightness(coloured, 20, 20), brightness(coloured, 600, 20));
  EXPECT_NE(brightness(coloured, 20, 20), brightness(coloured, 600, 300));
  EXPECT_EQ(kindOf(boxes), OutputKind::Boxes);
  const Image box = draw(boxes, {0, 0, 0.9F, 0.5F, 0.5F, 1, 1, 0, 1, 0.4F, 0, 0, 0.5F, 0.5F});
  EXPECT_NE(brightness(box, 321, 200), 300);
  EXPECT_EQ(brightness(box, 400, 240), 300);
  EXPECT_EQ(brightness(box, 1, 80), 300);
  EXPECT_EQ(kindOf(row), OutputKind::Classes);
  EXPECT_EQ(brightness(draw(row, {1, 2, 3, 4}), 639, 319), 300);
  // Whatever the numbers are, nothing is drawn outside.
  for (const float bad : {NAN, INFINITY, -INFINITY, 1e30F, -1e30F}) {
    for (const OutputForm& form : {map, areas, boxes, row}) {
      draw(form, std::vector(form.size(), bad));
      std::vector<float> mixed(form.size(), 0.75F);
      mixed.back() = bad;
      draw(form, mixed);
    }
  }
}

TEST(OutputForm, IsAsTheModelTells) {
  const ImageSize size{4, 2};
  DescribedModel wide({1, 3, 4, 5}), flat({1, 7}), deep({2, 3, 4, 5}), open({1, 0, 4, 5});
  EXPECT_EQ(formOf(wide, 60, size), (OutputForm{3, 4, 5, size}));
  EXPECT_EQ(formOf(flat, 7, size), (OutputForm{1, 1, 7, size}));
  for (DescribedModel* const other : {&wide, &open, &deep}) {
    EXPECT_EQ(formOf(*other, 120, size), (OutputForm{1, 1, 120, size}));
  }
  EXPECT_EQ((OutputForm{UINT32_MAX, UINT32_MAX, UINT32_MAX, size}).size(), UINT64_MAX);
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
  EXPECT_THAT(Latencies({0, 1, 2, 3, 9}).counts(1, 3, 2), testing::ElementsAre(2, 3));
  EXPECT_THAT(plotLatencies(Latencies({7}), "<a&b", ""), HasSubstr(">&lt;a&amp;b<"));
}

}  // namespace
}  // namespace OMB::tool

#if !defined(_WIN32)
// Linked in the place of the system's for this program.
int __wrap_fsync(int file) {
  struct stat status = {};
  fstat(file, &status);
  OMB::tool::calls() += S_ISDIR(status.st_mode) ? "folder " : "file ";
  return __real_fsync(file);
}

int __wrap_rename(const char* from, const char* to) {
  OMB::tool::calls() += "name ";
  return __real_rename(from, to);
}
#endif
