#include "image_file.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <stb/stb_image.h>
#include <stb/stb_image_resize.h>

#include "exif_orientation.h"
#include "files.h"
#include "image_format.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

struct Rectangle {
  std::int32_t left;
  std::int32_t top;
  ImageSize size;
};

/// `length` * `numerator` / `denominator` to the nearest, and at least 1.
std::int32_t scaled(std::int32_t length, std::int32_t numerator, std::int32_t denominator) {
  const std::int64_t product = std::int64_t{length} * numerator;
  return static_cast<std::int32_t>(
      std::max<std::int64_t>(1, (product + denominator / 2) / denominator));
}

Rectangle middlePart(ImageSize image, ImageSize proportions) {
  const ImageSize part = middleSize(image, proportions);
  return {(image.width - part.width) / 2, (image.height - part.height) / 2, part};
}

void copyRows(const unsigned char* source, std::size_t sourceStride, Image& target) {
  const std::size_t rowBytes = static_cast<std::size_t>(target.size.width) * imageChannels;
  for (std::size_t y = 0; y < static_cast<std::size_t>(target.size.height); ++y) {
    std::copy_n(source + y * sourceStride, rowBytes, target.samples.data() + y * rowBytes);
  }
}

// Networks are trained on images that were resized as they are stored, so samples are not taken
// to linear light first.
void resize(const unsigned char* source, ImageSize size, std::size_t stride, Image& target) {
  const int done = stbir_resize_uint8_generic(
      source, size.width, size.height, static_cast<int>(stride), target.samples.data(),
      target.size.width, target.size.height, 0, imageChannels, STBIR_ALPHA_CHANNEL_NONE, 0,
      STBIR_EDGE_CLAMP, STBIR_FILTER_DEFAULT, STBIR_COLORSPACE_LINEAR, nullptr);
  if (done == 0) throw std::bad_alloc();
}

/// Takes a positive decimal number off the front of `text`.
bool takeNumber(std::string_view& text, std::int32_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number < 1) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

[[noreturn]] void failDecoding(const std::filesystem::path& file,
                               const std::vector<unsigned char>& bytes) {
  const char* const format = foreignFormat(bytes);
  const std::string reason = format == nullptr ? std::string(stbi_failure_reason())
                                               : std::string("it is ") + format +
                                                     "; PNG, JPEG and PPM of bytes (P6) are taken";
  throw ToolError(ExitCode::Image, "cannot read image " + file.string() + ": " + reason);
}

}  // namespace

bool parseSize(std::string_view text, ImageSize& size) {
  if (!takeNumber(text, size.width)) return false;
  if (text.empty() || (text.front() != 'x' && text.front() != 'X')) return false;
  text.remove_prefix(1);
  if (!takeNumber(text, size.height) || !text.empty()) return false;
  constexpr std::int64_t most = (std::numeric_limits<std::int32_t>::max() - 1) / imageChannels;
  return std::int64_t{size.width} * size.height <= most;
}

Image readImage(const std::filesystem::path& file) {
  ImageSize size;
  int fileChannels = 0;
  const std::vector<unsigned char> bytes = readBytes(file, Dash::AStandardStream, ExitCode::Image);
  const std::unique_ptr<stbi_uc, void (*)(void*)> samples(
      stbi_load_from_memory(bytes.data(), static_cast<int>(bytes.size()), &size.width, &size.height,
                            &fileChannels, imageChannels),
      stbi_image_free);
  if (!samples) failDecoding(file, bytes);
  Image stored{size, {samples.get(), samples.get() + sampleCount(size)}};
  return turnUpright(std::move(stored), exifOrientation(bytes));
}

ImageSize middleSize(ImageSize image, ImageSize proportions) {
  ImageSize part = image;
  if (std::int64_t{image.width} * proportions.height >
      std::int64_t{image.height} * proportions.width) {
    part.width = std::min(image.width, scaled(image.height, proportions.width, proportions.height));
  } else {
    part.height =
        std::min(image.height, scaled(image.width, proportions.height, proportions.width));
  }
  return part;
}

Image fitImage(const Image& image, ImageSize size) {
  const Rectangle part = middlePart(image.size, size);
  const std::size_t stride = static_cast<std::size_t>(image.size.width) * imageChannels;
  const unsigned char* const source = image.samples.data() +
                                      static_cast<std::size_t>(part.top) * stride +
                                      static_cast<std::size_t>(part.left) * imageChannels;
  Image result{size, std::vector<unsigned char>(sampleCount(size))};
  // The filter would soften a part that needs no resizing.
  if (part.size == size) {
    copyRows(source, stride, result);
  } else {
    resize(source, part.size, stride, result);
  }
  return result;
}

}  // namespace OMB::tool
