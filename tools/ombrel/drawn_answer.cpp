#include "drawn_answer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "picture.h"

namespace OMB::tool {
namespace {

constexpr Colour kBackground{24, 26, 31}, kText{240, 240, 240}, kQuiet{150, 156, 168};
constexpr Colour kBar{54, 138, 238};
// Told apart also by most of those who do not tell red from green.
constexpr Colour kPalette[] = {{230, 159, 0}, {86, 180, 233}, {0, 158, 115},   {240, 228, 66},
                               {0, 114, 178}, {213, 94, 0},   {204, 121, 167}, {148, 103, 189}};
// From dark to bright, so that it also counts without its colours.
constexpr Colour kHeat[] = {{13, 8, 45},   {87, 15, 109},  {160, 42, 99},
                            {226, 89, 52}, {251, 166, 37}, {252, 255, 164}};

constexpr int kMargin = 10, kRowHeight = 28, kLeastWidth = 320;
constexpr int kLeastSide = 640, kMostSide = 1280;  // of the picture, its longer one
constexpr float kLeastConfidence = 0.5F;           // of a box that is drawn

Colour colourOf(std::size_t index) {
  return kPalette[index % std::size(kPalette)];
}

Colour heatOf(double share) {
  const double place = std::clamp(share, 0.0, 1.0) * (std::size(kHeat) - 1);
  const auto below = std::min(static_cast<std::size_t>(place), std::size(kHeat) - 2);
  const double rest = place - static_cast<double>(below);
  const auto mixed = [rest](unsigned char from, unsigned char to) {
    return static_cast<unsigned char>(std::lround(from + rest * (to - from)));
  };
  const Colour& from = kHeat[below];
  const Colour& to = kHeat[below + 1];
  return {mixed(from.red, to.red), mixed(from.green, to.green), mixed(from.blue, to.blue)};
}

/// The part of the photo that the network saw, in a size that can be looked at.
Image seenPart(const Image& photo, ImageSize proportions) {
  const ImageSize part = middleSize(photo.size, proportions);
  const int longer = std::max(part.width, part.height);
  const double scale = double(std::clamp(longer, kLeastSide, kMostSide)) / longer;
  const auto scaled = [scale](std::int32_t length) {
    return std::max(1, static_cast<std::int32_t>(std::lround(length * scale)));
  };
  return fitImage(photo, {scaled(part.width), scaled(part.height)});
}

/// The picture with so much room below it. Where that begins is its former height.
Image withPanel(const Image& picture, int height) {
  const int width = std::max(picture.size.width, kLeastWidth);
  Image canvas{{width, picture.size.height + height}, {}};
  canvas.samples.resize(sampleCount(canvas.size));
  fill(canvas, {0, 0, width, canvas.size.height}, kBackground);
  paste(canvas, picture, (width - picture.size.width) / 2, 0);
  return canvas;
}

/// A line of a panel: a bar behind the text, and a value at its right end.
struct Row {
  std::string text, value;
  Colour colour;
  double share;  ///< of the width that the bar takes, from 0 to 1
};

Image withRows(const Image& picture, const std::vector<Row>& rows) {
  Image canvas = withPanel(picture, 2 * kMargin + static_cast<int>(rows.size()) * kRowHeight);
  const int width = canvas.size.width - 2 * kMargin;
  int top = picture.size.height + kMargin;
  for (const Row& row : rows) {
    const int textTop = top + (kRowHeight - kTextHeight) / 2 + 1;
    const int valueWidth = textWidth(row.value);
    fill(canvas,
         {kMargin, top + 2, static_cast<int>(std::lround(row.share * width)), kRowHeight - 4},
         row.colour, 0.75);
    drawText(canvas, kMargin + 8, textTop, shortened(row.text, width - valueWidth - 32), kText);
    drawText(canvas, kMargin + width - valueWidth - 8, textTop, row.value, kText);
    top += kRowHeight;
  }
  return canvas;
}

/// Probabilities are shares by themselves; of other values the best one is all of the width.
double shareOf(float value, float best) {
  const double share = best > 1 ? double(value) / double(best) : double(value);
  return std::isnan(share) ? 0 : std::clamp(share, 0.0, 1.0);
}

Image drawClasses(const Image& picture, std::span<const float> values, const Labels& labels,
                  std::size_t count) {
  std::vector<Row> rows;
  const std::vector<std::size_t> best = bestIndices(values, count);
  for (const std::size_t index : best) {
    rows.push_back({labelOf(labels, index), valueText(values[index]), kBar,
                    shareOf(values[index], values[best.front()])});
  }
  return withRows(picture, rows);
}

/// A plane of values laid over a picture: each value stands in the middle of its cell, and what is
/// between is blended.
class Plane {
 public:
  Plane(std::span<const float> all, const OutputForm& form) : values(all), size(form) {}

  double at(double x, double y) const {
    const auto [left, right, across] = between(x, size.columns);
    const auto [above, below, down] = between(y, size.rows);
    const double upper = value(above, left) + across * (value(above, right) - value(above, left));
    const double lower = value(below, left) + across * (value(below, right) - value(below, left));
    return upper + down * (lower - upper);
  }

 private:
  struct Between {
    std::size_t first, second;
    double share;
  };

  static Between between(double share, std::uint32_t count) {
    const double place = std::clamp(share * count - 0.5, 0.0, double(count - 1));
    const auto first = static_cast<std::size_t>(place);
    return {first, std::min<std::size_t>(first + 1, count - 1), place - double(first)};
  }
  double value(std::size_t row, std::size_t column) const {
    return double(values[row * size.columns + column]);
  }

  std::span<const float> values;
  OutputForm size;
};

/// Calls `paint` with each pixel's area and its place in shares of the size.
template <typename Paint>
void forEachPixel(ImageSize size, const Paint& paint) {
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      paint(Area{x, y, 1, 1}, (x + 0.5) / size.width, (y + 0.5) / size.height);
    }
  }
}

/// The least and the greatest value that is a number; 0 and 0 where there is none.
std::pair<double, double> rangeOf(std::span<const float> values) {
  double least = INFINITY, greatest = -INFINITY;
  for (const float value : values) {
    if (!std::isfinite(value)) continue;
    least = std::min(least, double(value));
    greatest = std::max(greatest, double(value));
  }
  return least <= greatest ? std::pair(least, greatest) : std::pair(0.0, 0.0);
}

/// What the colours of a map mean: the strip, with the least and the greatest value at its ends.
Image withScale(const Image& picture, double least, double greatest) {
  Image canvas = withPanel(picture, 2 * kMargin + kRowHeight);
  const std::string from = valueText(static_cast<float>(least));
  const std::string to = valueText(static_cast<float>(greatest));
  const int top = picture.size.height + kMargin;
  const int left = 2 * kMargin + textWidth(from);
  const int width = canvas.size.width - 2 * kMargin - textWidth(to) - left;
  for (int x = 0; x < width; ++x) {
    fill(canvas, {left + x, top + 4, 1, kRowHeight - 8}, heatOf((x + 0.5) / width));
  }
  drawText(canvas, kMargin, top + 6, from, kText);
  drawText(canvas, left + width + kMargin, top + 6, to, kText);
  return canvas;
}

Image drawMap(Image picture, const OutputForm& form, std::span<const float> values) {
  const auto [least, greatest] = rangeOf(values);
  const double range = std::max(greatest - least, 1e-30);
  const Plane plane(values, form);
  forEachPixel(picture.size, [&, low = least](const Area& pixel, double x, double y) {
    const double share = (plane.at(x, y) - low) / range;
    if (std::isnan(share)) return;
    // What is low leaves the photo to be seen, a little darker.
    fill(picture, pixel, heatOf(share), 0.35 + 0.45 * std::clamp(share, 0.0, 1.0));
  });
  return withScale(picture, least, greatest);
}

/// The plane with the greatest value at each place.
std::vector<std::size_t> bestPlanes(const OutputForm& form, std::span<const float> values) {
  const std::size_t places = std::size_t{form.rows} * form.columns;
  std::vector<std::size_t> best(places, 0);
  for (std::size_t place = 0; place < places; ++place) {
    for (std::size_t plane = 1; plane < form.planes; ++plane) {
      if (values[plane * places + place] > values[best[place] * places + place])
        best[place] = plane;
    }
  }
  return best;
}

std::string percentText(float share) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.1f %%", 100 * double(share));
  return text;
}

Image drawAreas(Image picture, const OutputForm& form, std::span<const float> values,
                const Labels& labels, std::size_t count) {
  const std::vector<std::size_t> best = bestPlanes(form, values);
  forEachPixel(picture.size, [&](const Area& pixel, double x, double y) {
    const auto row = static_cast<std::size_t>(y * form.rows);
    const auto column = static_cast<std::size_t>(x * form.columns);
    fill(picture, pixel, colourOf(best[row * form.columns + column]), 0.5);
  });
  std::vector<float> shares(form.planes, 0);
  for (const std::size_t plane : best) shares[plane] += 1 / static_cast<float>(best.size());
  std::vector<Row> rows;
  for (const std::size_t plane : bestIndices(shares, count)) {
    if (shares[plane] <= 0) break;
    rows.push_back({labelOf(labels, plane), percentText(shares[plane]), colourOf(plane),
                    double(shares[plane])});
  }
  return withRows(picture, rows);
}

/// In pixels of a picture of this size, inside of it; nothing for corners that are no numbers.
Area areaOf(std::span<const float> corners, ImageSize size) {
  const auto place = [&](std::size_t i) {
    const int length = i % 2 == 0 ? size.width : size.height;
    return std::isnan(corners[i])
               ? 0
               : static_cast<int>(std::lround(std::clamp(corners[i], 0.0F, 1.0F) * float(length)));
  };
  return {place(0), place(1), std::max(place(2) - place(0), 0), std::max(place(3) - place(1), 0)};
}

void drawBox(Image& picture, const Area& area, Colour colour, const std::string& text) {
  outline(picture, area, colour, 3);
  const std::string tag = shortened(text, picture.size.width / 2);
  const int height = kTextHeight + 4;
  const int width = textWidth(tag) + 12;
  const int left = std::max(std::min(area.left, picture.size.width - width), 0);
  const int top = std::max(area.top - height, 0);
  fill(picture, {left, top, width, height}, colour);
  drawText(picture, left + 6, top + 3, tag, kBackground);
}

Image drawBoxes(Image picture, const OutputForm& form, std::span<const float> values,
                const Labels& labels) {
  constexpr std::size_t kClass = 1, kConfidence = 2, kCorners = 3;
  std::size_t drawn = 0;
  for (std::size_t i = 0; i < form.rows; ++i) {
    const std::span<const float> row = values.subspan(i * form.columns, form.columns);
    if (row[0] < 0) break;  // behind the last box
    if (!(row[kConfidence] >= kLeastConfidence)) continue;
    const float number = std::isnan(row[kClass]) ? 0 : std::clamp(row[kClass], 0.0F, 1e6F);
    const auto index = static_cast<std::size_t>(number);
    drawBox(picture, areaOf(row.subspan(kCorners), picture.size), colourOf(index),
            labelOf(labels, index) + "  " + valueText(row[kConfidence]));
    ++drawn;
  }
  return withRows(picture, {{std::to_string(drawn) + " found, of a confidence from " +
                                 valueText(kLeastConfidence) + " on",
                             "", kQuiet, 0}});
}

}  // namespace

Image drawAnswer(const Image& photo, const OutputForm& form, std::span<const float> values,
                 const Labels& labels, std::size_t count) {
  Image picture = seenPart(photo, form.image);
  switch (kindOf(form)) {
    case OutputKind::Map:
      return drawMap(std::move(picture), form, values);
    case OutputKind::Areas:
      return drawAreas(std::move(picture), form, values, labels, count);
    case OutputKind::Boxes:
      return drawBoxes(std::move(picture), form, values, labels);
    case OutputKind::Classes:
      break;
  }
  return drawClasses(picture, values, labels, count);
}

}  // namespace OMB::tool
