#include "system/mapped_modules.h"

#include "system/text.h"
#include "system/windows/open_modules.h"
// clang-format off
#include <psapi.h>  // behind windows.h, which it lacks the types of
// clang-format on

namespace OMB::system {
std::vector<HMODULE> openModules() {
  std::vector<HMODULE> modules(256);
  for (;;) {
    const auto size = static_cast<DWORD>(modules.size() * sizeof(HMODULE));
    DWORD needed = 0;
    if (EnumProcessModules(GetCurrentProcess(), modules.data(), size, &needed) == 0) return {};
    modules.resize(needed / sizeof(HMODULE));
    if (needed <= size) return modules;
  }
}

std::vector<std::string> mappedModules() {
  std::vector<std::string> files;
  std::wstring path(32768, L'\0');
  for (const HMODULE module : openModules()) {
    const DWORD size = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    files.push_back(to_utf8(path.substr(0, size)));
  }
  return files;
}

}  // namespace OMB::system
