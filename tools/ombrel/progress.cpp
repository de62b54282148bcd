#include "progress.h"

#include <cstdio>
#include <utility>

#include "terminal.h"

namespace OMB::tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kMoment{400}, kPause{100};
constexpr std::size_t kBarWidth = 40;
constexpr unsigned kMebibyteBits = 20;

}  // namespace

ProgressLine::ProgressLine() : shown(errorIsTerminal()) {}

ProgressLine::~ProgressLine() {
  if (width > 0) std::fprintf(stderr, "\r%*s\r", static_cast<int>(width), "");
}

void ProgressLine::draw(double part, const std::string& text) {
  if (!shown) return;
  const std::string drawn = "[" + drawBar(part, kBarWidth) + "] " + text;
  // What was longer before is covered.
  std::fprintf(stderr, "\r%-*s", static_cast<int>(width), drawn.c_str());
  width = drawn.size();
}

ByteProgress::ByteProgress(std::string deed, std::uint64_t bytes)
    : what(std::move(deed)), total(bytes), due(Clock::now() + kMoment) {}

void ByteProgress::add(std::uint64_t bytes) {
  done += bytes;
  if (!line.isShown() || total == 0 || Clock::now() < due) return;
  line.draw(static_cast<double>(done) / static_cast<double>(total),
            std::to_string(done >> kMebibyteBits) + " of " +
                std::to_string(total >> kMebibyteBits) + " MiB " + what);
  due = Clock::now() + kPause;
}

}  // namespace OMB::tool
