// Photos from files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

namespace OMB::tool {

struct ImageSize {
  std::int32_t width = 0;
  std::int32_t height = 0;

  bool operator==(const ImageSize&) const = default;
};

/// Colour images: red, green, blue.
inline constexpr std::int32_t imageChannels = 3;

/// Reads "WxH", two numbers from 1 on. Returns false for anything else, and for sizes whose sample
/// count does not fit a signed 32-bit integer with one to spare.
[[nodiscard]] bool parseSize(std::string_view text, ImageSize& size);

/// Bytes, interleaved (HWC), rows from the top, without padding.
struct Image {
  ImageSize size;
  std::vector<unsigned char> samples;
};

/// Number of samples of an image of `size`.
inline std::size_t sampleCount(ImageSize size) {
  return static_cast<std::size_t>(imageChannels) * static_cast<std::size_t>(size.width) *
         static_cast<std::size_t>(size.height);
}

/// Decodes a PNG, JPEG or PPM file, and turns a photo as its Exif segment wants; "-" is standard
/// input. Throws ToolError.
Image readImage(const std::filesystem::path& file);

/// Size of the largest middle part of an image of the size `image` that has these proportions.
ImageSize middleSize(ImageSize image, ImageSize proportions);

/// The largest middle part of `image` with the proportions of `size`, resized to `size`. A part
/// that has the size already is taken over sample by sample.
Image fitImage(const Image& image, ImageSize size);

}  // namespace OMB::tool
