#include "picture.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <vector>

#include <stb/stb_easy_font.h>
#include <stb/stb_image_write.h>

namespace OMB::tool {
namespace {

// The font's strokes are a pixel wide, which is too thin to be read on a photo.
constexpr int kTextScale = 2;

/// As stb_easy_font lays it out: four of them are a rectangle.
struct Vertex {
  float x, y, z;
  unsigned char colour[4];
};

std::string drawable(const std::string& text) {
  std::string ascii;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) == 0x80) continue;  // goes on with a character
    ascii += byte >= ' ' && byte < 0x7F ? c : '?';
  }
  return ascii;
}

/// The corners of the strokes, in units of the font.
std::vector<Vertex> strokes(std::string text) {
  constexpr std::size_t kMostRectangles = 16;  // of a character
  std::vector<Vertex> corners(text.size() * kMostRectangles * 4);
  const int rectangles = stb_easy_font_print(0, 0, text.data(), nullptr, corners.data(),
                                             static_cast<int>(corners.size() * sizeof(Vertex)));
  corners.resize(static_cast<std::size_t>(rectangles) * 4);
  return corners;
}

int pixels(float units) {
  return static_cast<int>(std::lround(units * kTextScale));
}

}  // namespace

void fill(Image& image, const Area& area, Colour colour, double opacity) {
  const int left = std::max(area.left, 0), top = std::max(area.top, 0);
  const int right = std::min(area.left + area.width, image.size.width);
  const int bottom = std::min(area.top + area.height, image.size.height);
  const double samples[] = {double(colour.red), double(colour.green), double(colour.blue)};
  for (int y = top; y < bottom; ++y) {
    for (int x = left; x < right; ++x) {
      unsigned char* const pixel =
          image.samples.data() +
          (static_cast<std::size_t>(y) * static_cast<std::size_t>(image.size.width) +
           static_cast<std::size_t>(x)) *
              imageChannels;
      for (int i = 0; i < imageChannels; ++i) {
        pixel[i] =
            static_cast<unsigned char>(std::lround(pixel[i] + opacity * (samples[i] - pixel[i])));
      }
    }
  }
}

void outline(Image& image, const Area& area, Colour colour, int thickness) {
  const int inner = std::max(area.height - 2 * thickness, 0);
  fill(image, {area.left, area.top, area.width, thickness}, colour);
  fill(image, {area.left, area.top + area.height - thickness, area.width, thickness}, colour);
  fill(image, {area.left, area.top + thickness, thickness, inner}, colour);
  fill(image, {area.left + area.width - thickness, area.top + thickness, thickness, inner}, colour);
}

void paste(Image& image, const Image& source, int left, int top) {
  const auto rowBytes = static_cast<std::ptrdiff_t>(source.size.width) * imageChannels;
  const auto stride = static_cast<std::ptrdiff_t>(image.size.width) * imageChannels;
  for (std::ptrdiff_t y = 0; y < source.size.height; ++y) {
    std::copy_n(source.samples.begin() + y * rowBytes, rowBytes,
                image.samples.begin() + (top + y) * stride + std::ptrdiff_t{left} * imageChannels);
  }
}

int textWidth(const std::string& text) {
  std::string ascii = drawable(text);
  return stb_easy_font_width(ascii.data()) * kTextScale;
}

void drawText(Image& image, int left, int top, const std::string& text, Colour colour) {
  const std::vector<Vertex> corners = strokes(drawable(text));
  for (std::size_t i = 0; i < corners.size(); i += 4) {
    const Vertex& from = corners[i];
    const Vertex& to = corners[i + 2];
    fill(
        image,
        {left + pixels(from.x), top + pixels(from.y), pixels(to.x - from.x), pixels(to.y - from.y)},
        colour);
  }
}

std::string shortened(const std::string& text, int width) {
  if (textWidth(text) <= width) return text;
  std::string start = drawable(text);
  while (!start.empty() && textWidth(start + "...") > width) start.pop_back();
  return start + "...";
}

void writePng(const Image& image, PendingFile& file) {
  std::vector<std::byte> png;
  const auto take = [](void* context, void* data, int size) {
    const std::span piece(static_cast<const std::byte*>(data), static_cast<std::size_t>(size));
    auto* const bytes = static_cast<std::vector<std::byte>*>(context);
    bytes->insert(bytes->end(), piece.begin(), piece.end());
  };
  const int done =
      stbi_write_png_to_func(take, &png, image.size.width, image.size.height, imageChannels,
                             image.samples.data(), image.size.width * imageChannels);
  if (done == 0) throw std::bad_alloc();
  file.write(png);
}

}  // namespace OMB::tool
