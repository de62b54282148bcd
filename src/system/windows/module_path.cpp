#include "system/module_path.h"

#include "system/text.h"
#include "system/windows/windows_calls.h"

namespace OMB::system {

std::string modulePath(const void* address) {
  HMODULE module = nullptr;
  if (GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          static_cast<const wchar_t*>(address), &module) == 0) {
    return {};
  }
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return to_utf8(path);
}

}  // namespace OMB::system
