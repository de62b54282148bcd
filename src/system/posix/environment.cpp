#include "system/environment.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

namespace OMB::system {

void setEnvironment(const char* name, const char* value) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  const char* current = std::getenv(name);
  if (current == nullptr || std::strcmp(current, value) != 0) setenv(name, value, 1);
}

}  // namespace OMB::system
