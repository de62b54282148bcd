#include "platform/helpers.h"

#include <algorithm>
#include <exception>
#include <thread>
#include <vector>

namespace OMB::platform {

std::size_t helpersFor(std::size_t most) {
  constexpr std::size_t kMost = 3;
  const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
  return std::min({kMost, processors - 1, most});
}

void runWithHelpers(std::size_t helpers, const std::function<void()>& help,
                    const std::function<void()>& work) {
  std::vector<std::jthread> threads;
  try {
    threads.reserve(helpers);
    while (threads.size() < helpers) threads.emplace_back(help);
  } catch (const std::exception&) {
    // Those that there are will do.
  }
  work();
}

}  // namespace OMB::platform
