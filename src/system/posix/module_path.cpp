#include "system/module_path.h"

#include <dlfcn.h>

namespace OMB::system {

std::string modulePath(const void* address) {
  Dl_info info = {};
  if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) return {};
  return info.dli_fname;
}

}  // namespace OMB::system
