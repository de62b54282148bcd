#include "ombrel/plugin/dependency.h"

#include <utility>

namespace OMB {

Dependency::Dependency(const char* libraryName, std::vector<HashRange> acceptable)
    : name(libraryName), hashes(std::move(acceptable)) {}

Dependency::Dependency(Dependency&& other) noexcept
    : name(std::exchange(other.name, {})), hashes(std::exchange(other.hashes, {})) {}

Dependency& Dependency::operator=(Dependency&& other) noexcept {
  name = std::exchange(other.name, {});
  hashes = std::exchange(other.hashes, {});
  return *this;
}

}  // namespace OMB
