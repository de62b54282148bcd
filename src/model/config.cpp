#include "ombrel/model/config.h"

#include <utility>

namespace OMB {

Config::Config(Config&& other) noexcept
    : backend(other.backend),
      threadCount(other.threadCount),
      dataPath(std::exchange(other.dataPath, {})) {}

Config& Config::operator=(Config&& other) noexcept {
  backend = other.backend;
  threadCount = other.threadCount;
  dataPath = std::exchange(other.dataPath, {});
  return *this;
}

}  // namespace OMB
