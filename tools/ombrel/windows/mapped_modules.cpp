#include "mapped_modules.h"

#include <string>
#include <system_error>
#include <vector>

#include "windows/windows_calls.h"
// clang-format off
#include <psapi.h>  // behind windows.h, which it lacks the types of
// clang-format on

namespace OMB::tool {
namespace {

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

std::filesystem::path fileOf(HMODULE module) {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

}  // namespace

std::set<std::string> modulesFrom(const std::filesystem::path& folder) {
  std::set<std::string> names;
  for (const HMODULE module : openModules()) {
    const std::filesystem::path file = fileOf(module);
    std::error_code failed;
    const bool here = std::filesystem::equivalent(file.parent_path(), folder, failed);
    if (here && !failed) names.insert(file.filename().string());
  }
  return names;
}

}  // namespace OMB::tool
