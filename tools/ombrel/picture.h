// What is drawn on an image, and an image as a file.
#pragma once

#include <string>

#include "files.h"
#include "image_file.h"

namespace OMB::tool {

struct Colour {
  unsigned char red, green, blue;
};

/// In pixels, from the image's left upper corner. What lies outside the image is not drawn.
struct Area {
  int left, top, width, height;
};

/// Of one colour, of which the share `opacity` covers what was there.
void fill(Image& image, const Area& area, Colour colour, double opacity = 1);

/// The border alone, inside the area.
void outline(Image& image, const Area& area, Colour colour, int thickness);

/// Copies all of `source` with its left upper corner to this place, which must be inside.
void paste(Image& image, const Image& source, int left, int top);

/// A line of text takes so much height, and reaches from `top` to there.
inline constexpr int kTextHeight = 18;

/// Width of a line of text. Characters beyond ASCII are drawn as question marks.
int textWidth(const std::string& text);
void drawText(Image& image, int left, int top, const std::string& text, Colour colour);

/// The text, or as much of its beginning as fits into the width, with dots behind it.
std::string shortened(const std::string& text, int width);

/// As a PNG. Throws ToolError.
void writePng(const Image& image, PendingFile& file);

}  // namespace OMB::tool
