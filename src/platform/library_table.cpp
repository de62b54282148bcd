#include "platform/library_table.h"

#include <utility>

namespace OMB {

library_table& library_table::instance() {
  static library_table table;
  return table;
}

library_table::~library_table() {
  for (auto& [name, library] : libraries_) {
    if (library.use_count() != 1) continue;
    library->load_count = 1;
    library->release();
  }
}

std::shared_ptr<library_private> library_table::find_or_create(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto found = libraries_.find(name);
  if (found != libraries_.end()) return found->second;
  auto library = std::make_shared<library_private>(name);
  libraries_.emplace(name, library);
  return library;
}

void library_table::drop(std::shared_ptr<library_private> library) {
  // References are taken under the lock too, so nobody can meet an entry that is being erased.
  const std::lock_guard lock(mutex_);
  constexpr long thisHandleAndTheTable = 2;
  if (library.use_count() == thisHandleAndTheTable && library->load_count == 0) {
    libraries_.erase(library->file_name);
  }
  library.reset();
}

}  // namespace OMB
