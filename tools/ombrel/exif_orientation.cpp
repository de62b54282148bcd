#include "exif_orientation.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace OMB::tool {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr int kAsStored = 1;
constexpr unsigned char kApp1 = 0xE1, kStartOfScan = 0xDA, kEndOfImage = 0xD9;

/// Numbers out of bytes that anybody may have written: behind their end everything is 0.
class Numbers {
 public:
  Numbers(Bytes all, bool lowFirst) : bytes(all), littleEndian(lowFirst) {}

  std::uint32_t get(std::size_t offset, std::size_t size) const {
    if (offset > bytes.size() || size > bytes.size() - offset) return 0;
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < size; ++i) {
      number = number << 8 | bytes[offset + (littleEndian ? size - 1 - i : i)];
    }
    return number;
  }

 private:
  Bytes bytes;
  bool littleEndian;
};

bool startsWith(Bytes bytes, std::string_view text) {
  const auto isByte = [](char c, unsigned char byte) {
    return static_cast<unsigned char>(c) == byte;
  };
  return bytes.size() >= text.size() && std::equal(text.begin(), text.end(), bytes.begin(), isByte);
}

/// The block of tags in an Exif segment, or nothing.
Bytes findTags(Bytes file) {
  if (!startsWith(file, "\xFF\xD8")) return {};
  Bytes rest = file.subspan(2);
  while (rest.size() >= 4 && rest[0] == 0xFF) {
    const unsigned char marker = rest[1];
    if (marker == 0xFF) {  // a byte that fills
      rest = rest.subspan(1);
      continue;
    }
    if (marker == kStartOfScan || marker == kEndOfImage) break;
    const std::size_t length = Numbers(rest, false).get(2, 2);
    if (length < 2 || length > rest.size() - 2) break;
    const Bytes segment = rest.subspan(4, length - 2);
    constexpr std::string_view name("Exif\0\0", 6);
    if (marker == kApp1 && startsWith(segment, name)) return segment.subspan(name.size());
    rest = rest.subspan(2 + length);
  }
  return {};
}

}  // namespace

int exifOrientation(Bytes file) {
  constexpr std::uint32_t orientationTag = 0x0112, shortType = 3;
  constexpr std::size_t entryBytes = 12;
  const Bytes tags = findTags(file);
  const Numbers numbers(tags, startsWith(tags, "II"));
  if (numbers.get(2, 2) != 42) return kAsStored;
  const std::size_t directory = numbers.get(4, 4);
  const std::size_t count = numbers.get(directory, 2);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t entry = directory + 2 + i * entryBytes;
    if (numbers.get(entry, 2) != orientationTag) continue;
    if (numbers.get(entry + 2, 2) != shortType) break;
    const std::uint32_t value = numbers.get(entry + 8, 2);
    return value >= 1 && value <= 8 ? static_cast<int>(value) : kAsStored;
  }
  return kAsStored;
}

Image turnUpright(Image image, int orientation) {
  if (orientation == kAsStored) return image;
  const bool fromRight = orientation == 2 || orientation == 3 || orientation >= 7;
  const bool fromBelow =
      orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  const bool turned = orientation >= 5;
  const std::int32_t width = image.size.width, height = image.size.height;
  Image upright{turned ? ImageSize{height, width} : image.size, {}};
  upright.samples.reserve(image.samples.size());
  for (std::int32_t row = 0; row < upright.size.height; ++row) {
    for (std::int32_t column = 0; column < upright.size.width; ++column) {
      auto [x, y] = turned ? std::pair(row, column) : std::pair(column, row);
      if (fromRight) x = width - 1 - x;
      if (fromBelow) y = height - 1 - y;
      const auto pixel =
          image.samples.begin() + (static_cast<std::ptrdiff_t>(y) * width + x) * imageChannels;
      upright.samples.insert(upright.samples.end(), pixel, pixel + imageChannels);
    }
  }
  return upright;
}

}  // namespace OMB::tool
