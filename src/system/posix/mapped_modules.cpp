#include "system/mapped_modules.h"

#include <cstring>
#include <link.h>

namespace OMB::system {
namespace {

// Names, each with its NUL, as many as fit: nothing may be allocated while the loader waits.
struct Names {
  std::vector<char> text;
  std::size_t needed = 0;
};

int addName(dl_phdr_info* info, std::size_t /*size*/, void* argument) {
  auto& names = *static_cast<Names*>(argument);
  const std::size_t size = std::strlen(info->dlpi_name) + 1;
  if (names.needed + size <= names.text.size()) {
    std::memcpy(names.text.data() + names.needed, info->dlpi_name, size);
  }
  names.needed += size;
  return 0;
}

}  // namespace

std::vector<std::string> mappedModules() {
  Names names;
  do {  // again, if libraries have come since they were counted
    names.text.resize(names.needed);
    names.needed = 0;
    dl_iterate_phdr(addName, &names);
  } while (names.needed > names.text.size());
  std::vector<std::string> files;
  for (std::size_t at = 0; at < names.needed; at += files.back().size() + 1) {
    files.emplace_back(names.text.data() + at);
  }
  return files;
}

}  // namespace OMB::system
