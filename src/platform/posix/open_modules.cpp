#include "platform/posix/open_modules.h"

#include <utility>

namespace OMB::posix {

OpenModules& OpenModules::instance() {
  static OpenModules& modules = *new OpenModules;
  return modules;
}

void OpenModules::add(void* handle, std::string path) {
  const std::lock_guard lock(mutex_);
  Module& module = modules_[handle];
  module.path = std::move(path);
  ++module.loads;
}

bool OpenModules::remove(void* handle) {
  const std::lock_guard lock(mutex_);
  const auto found = modules_.find(handle);
  if (found == modules_.end()) return false;
  if (--found->second.loads == 0) modules_.erase(found);
  return true;
}

std::optional<std::string> OpenModules::pathOf(void* handle) {
  const std::lock_guard lock(mutex_);
  const auto found = modules_.find(handle);
  if (found == modules_.end()) return std::nullopt;
  return found->second.path;
}

}  // namespace OMB::posix
