#include "mapped_modules.h"

#include <link.h>
#include <system_error>

namespace OMB::tool {
namespace {

struct Search {
  std::filesystem::path folder;
  std::set<std::string> names = {};
};

int addModule(dl_phdr_info* info, std::size_t /*size*/, void* argument) {
  auto& search = *static_cast<Search*>(argument);
  std::error_code failed;
  const std::filesystem::path file = info->dlpi_name;
  const auto folder = std::filesystem::canonical(file.parent_path(), failed);
  if (!failed && folder == search.folder) search.names.insert(file.filename().string());
  return 0;
}

}  // namespace

std::set<std::string> modulesFrom(const std::filesystem::path& folder) {
  Search search{std::filesystem::canonical(folder)};
  dl_iterate_phdr(addModule, &search);
  return search.names;
}

}  // namespace OMB::tool
