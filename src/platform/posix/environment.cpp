#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

#include "platform/posix/posix_calls.h"

int _putenv(const char* entry) {
  const std::string text = entry;
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    errno = EINVAL;
    return -1;
  }
  const std::string name = text.substr(0, equals);
  const std::string value = text.substr(equals + 1);

  // Threads that write one and the same value leave the environment alone after the first, so that
  // they do not move it under a thread that reads.
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  const char* current = std::getenv(name.c_str());
  if (value.empty()) return current == nullptr ? 0 : unsetenv(name.c_str());
  if (current != nullptr && value == current) return 0;
  return setenv(name.c_str(), value.c_str(), 1);
}
