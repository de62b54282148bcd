#include "image_format.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace OMB::tool {
namespace {

struct Format {
  std::size_t offset;
  std::string_view mark;
  const char* name;
};

constexpr Format formats[] = {
    {0, "P1", "a PBM"},
    {0, "P2", "a PGM in text"},
    {0, "P3", "a PPM in text"},
    {0, "P4", "a PBM"},
    {0, "BM", "a BMP"},
    {0, "GIF8", "a GIF"},
    {8, "WEBP", "a WebP"},
    {0, std::string_view("II*\0", 4), "a TIFF"},
    {0, std::string_view("MM\0*", 4), "a TIFF"},
    {4, "ftyphei", "a HEIC"},
    {4, "ftypmif1", "a HEIC"},
    {4, "ftypavif", "an AVIF"},
};

}  // namespace

const char* foreignFormat(std::span<const unsigned char> file) {
  for (const auto& [offset, mark, name] : formats) {
    const bool fits =
        file.size() >= offset + mark.size() &&
        std::equal(mark.begin(), mark.end(), file.begin() + static_cast<std::ptrdiff_t>(offset));
    if (fits) return name;
  }
  return nullptr;
}

}  // namespace OMB::tool
