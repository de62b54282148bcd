#include "platform/library_table.h"

#include <iterator>
#include <utility>

namespace OMB {
namespace {

// Closes the table of the process when the process ends.
struct Closing {
  library_table& table = *new library_table;

  ~Closing() { table.close(); }
};

}  // namespace

library_table& library_table::instance() {
  static Closing closing;
  return closing.table;
}

std::shared_ptr<library_private> library_table::find_or_create(const std::string& name) {
  const std::lock_guard lock(mutex);
  const auto found = libraries.find(name);
  if (found != libraries.end()) return found->second;
  auto library = std::make_shared<library_private>(name);
  libraries.emplace(name, library);
  return library;
}

void library_table::drop(std::shared_ptr<library_private> library) {
  // References are taken under the lock too, so nobody can meet an entry that is being erased.
  const std::lock_guard lock(mutex);
  constexpr long kThisHandleAndTheTable = 2;
  if (library.use_count() == kThisHandleAndTheTable && library->load_count == 0) {
    libraries.erase(library->file_name);
  }
  library.reset();
}

void library_table::close() {
  // Taken out of the table first: what a module runs as it is closed may ask for libraries.
  std::map<std::string, std::shared_ptr<library_private>> closing;
  {
    const std::lock_guard lock(mutex);
    for (auto entry = libraries.begin(); entry != libraries.end();) {
      const auto next = std::next(entry);
      if (entry->second.use_count() == 1) closing.insert(libraries.extract(entry));
      entry = next;
    }
  }
  for (const auto& [name, library] : closing) {
    library->load_count = 1;
    library->release(system::closeModuleForGood);
  }
}

}  // namespace OMB
