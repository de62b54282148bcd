#include "latency_plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace OMB::tool {
namespace {

constexpr double kWidth = 800, kHeight = 440;
constexpr double kLeft = 70, kRight = 770, kTop = 90, kBottom = 380;
constexpr std::size_t kBins = 60;
constexpr double kWantedSteps = 6;  // of an axis, about

std::string escaped(const std::string& text) {
  std::string safe;
  for (const char c : text) {
    if (c == '&') {
      safe += "&amp;";
    } else if (c == '<') {
      safe += "&lt;";
    } else {
      safe += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    }
  }
  return safe;
}

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.6g", value);
  return text;
}

std::string rounded(double pixels) {
  return number(std::round(pixels * 10) / 10);
}

/// 1, 2 or 5 times a power of ten, so that `range` has a handful of steps.
double niceStep(double range) {
  const double rough = range / kWantedSteps;
  // By hand: what std::pow calls is younger than the oldest systems that are served.
  double power = 1;
  while (power > rough && power > 1e-12) power /= 10;
  while (power * 10 <= rough) power *= 10;
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= rough) return factor * power;
  }
  return 10 * power;
}

std::string text(double x, double y, const std::string& attributes, const std::string& content) {
  return "<text x=\"" + rounded(x) + "\" y=\"" + rounded(y) + "\" " + attributes + ">" +
         escaped(content) + "</text>\n";
}

std::string line(double x1, double y1, double x2, double y2, const std::string& style) {
  return "<line x1=\"" + rounded(x1) + "\" y1=\"" + rounded(y1) + "\" x2=\"" + rounded(x2) +
         "\" y2=\"" + rounded(y2) + "\" class=\"" + style + "\"/>\n";
}

/// Values along a side of the plot.
struct Axis {
  double least, greatest, from, to;

  double place(double value) const {
    return from + (value - least) / (greatest - least) * (to - from);
  }
  std::vector<double> ticks() const {
    const double step = niceStep(greatest - least);
    std::vector<double> values;
    for (double i = std::ceil(least / step); i * step <= greatest; ++i) values.push_back(i * step);
    return values;
  }
};

/// What took longer than nearly all others would press them together: it counts to the last bin.
Axis timeAxis(const Latencies& latencies) {
  const double most = latencies.percentile(99.5);
  const double margin = std::max((most - latencies.least()) * 0.05, most * 0.01 + 1e-6);
  return {std::max(latencies.least() - margin, 0.0), most + margin, kLeft, kRight};
}

std::string drawAxes(const Axis& time, const Axis& runs) {
  std::string drawn;
  for (const double tick : runs.ticks()) {
    if (tick != std::floor(tick)) continue;
    drawn += line(kLeft, runs.place(tick), kRight, runs.place(tick), "grid");
    drawn += text(kLeft - 8, runs.place(tick) + 4, "text-anchor=\"end\"", number(tick));
  }
  for (const double tick : time.ticks()) {
    drawn += line(time.place(tick), kBottom, time.place(tick), kBottom + 5, "axis");
    drawn += text(time.place(tick), kBottom + 20, "text-anchor=\"middle\"", number(tick));
  }
  drawn += line(kLeft, kBottom, kRight, kBottom, "axis");
  drawn +=
      text((kLeft + kRight) / 2, kBottom + 44, "text-anchor=\"middle\"", "time of one run in ms");
  return drawn + "<text transform=\"translate(20 " + rounded((kTop + kBottom) / 2) +
         ") rotate(-90)\" text-anchor=\"middle\">number of runs</text>\n";
}

std::string drawBars(const std::vector<std::size_t>& counts, const Axis& time, const Axis& runs) {
  const double width = (time.greatest - time.least) / static_cast<double>(counts.size());
  std::string drawn;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (counts[i] == 0) continue;
    const double left = time.place(time.least + static_cast<double>(i) * width);
    const double top = runs.place(static_cast<double>(counts[i]));
    drawn += "<rect x=\"" + rounded(left) + "\" y=\"" + rounded(top) + "\" width=\"" +
             rounded((kRight - kLeft) / static_cast<double>(counts.size()) - 1) + "\" height=\"" +
             rounded(kBottom - top) + "\" class=\"bar\"/>\n";
  }
  return drawn;
}

/// Each with its name above the plot, on rows that do not cover one another.
std::string drawPercentiles(const Latencies& latencies, const Axis& time) {
  std::string drawn;
  double row = 0;
  for (const double percent : {50.0, 90.0, 99.0}) {
    const double value = latencies.percentile(percent);
    const double x = time.place(value), y = kTop - 16 + 16 * row++;
    const bool isFarRight = x > (kLeft + kRight) / 2;
    drawn += line(x, y - 10, x, kBottom, "percentile");
    drawn += text(isFarRight ? x - 6 : x + 6, y,
                  isFarRight ? "class=\"label\" text-anchor=\"end\"" : "class=\"label\"",
                  number(percent) + " % within " + number(std::round(value * 1000) / 1000) + " ms");
  }
  return drawn;
}

}  // namespace

std::string plotLatencies(const Latencies& latencies, const std::string& title,
                          const std::string& subtitle) {
  const Axis time = timeAxis(latencies);
  const std::vector<std::size_t> counts = latencies.counts(time.least, time.greatest, kBins);
  const auto most = static_cast<double>(*std::max_element(counts.begin(), counts.end()));
  const Axis runs{0, most * 1.15, kBottom, kTop};
  const std::string size = number(kWidth) + " " + number(kHeight);
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size +
         "\" font-family=\"sans-serif\" font-size=\"12\" fill=\"#333\">\n"
         "<style>.bar{fill:#5b8fd0}.grid{stroke:#e4e4e4}.axis{stroke:#333}.label{fill:#b03a12}"
         ".percentile{stroke:#d5541f;stroke-dasharray:4 3}</style>\n"
         "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n" +
         text(kLeft, 28, "font-size=\"17\"", title) + text(kLeft, 48, "fill=\"#666\"", subtitle) +
         drawAxes(time, runs) + drawBars(counts, time, runs) + drawPercentiles(latencies, time) +
         "</svg>\n";
}

}  // namespace OMB::tool
