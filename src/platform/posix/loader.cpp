#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "platform/posix/error_codes.h"
#include "platform/posix/last_error.h"
#include "platform/posix/open_library.h"
#include "platform/posix/open_modules.h"
#include "platform/posix/posix_calls.h"
#include "platform/text.h"

using namespace OMB::posix;

HMODULE LoadLibraryW(const wchar_t* fileName) {
  Opened opened = openLibrary(OMB::to_utf8(fileName));
  if (!opened.module) {
    setLastError(opened.code, opened.text);
    return nullptr;
  }
  OpenModules::instance().add(opened.module.get(), fileOf(opened.module.get()));
  return opened.module.release();
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
  if (!OpenModules::instance().pathOf(module)) {
    SetLastError(invalidHandle);
    return nullptr;
  }
  void* address = findSymbol(module, name);
  if (address == nullptr) SetLastError(symbolNotFound);
  return address;
}

BOOL FreeLibrary(HMODULE module) {
  if (!OpenModules::instance().remove(module)) {
    SetLastError(invalidHandle);
    return 0;
  }
  // The set is not locked now: the library's own destructors may load and free.
  if (dlclose(module) == 0) return 1;
  const char* text = dlerror();
  setLastError(loadFailed, text == nullptr ? "" : text);
  return 0;
}

DWORD GetModuleFileNameW(HMODULE module, wchar_t* fileName, DWORD size) {
  const std::optional<std::string> path = OpenModules::instance().pathOf(module);
  if (!path || size == 0) {
    SetLastError(path ? bufferTooSmall : invalidHandle);
    return 0;
  }
  const std::wstring wide = OMB::to_wide(*path);
  const std::size_t fitting = std::min<std::size_t>(wide.size(), size - 1);
  fileName[wide.copy(fileName, fitting)] = L'\0';
  if (fitting == wide.size()) return static_cast<DWORD>(fitting);
  SetLastError(bufferTooSmall);
  return size;
}
