#include "loader_script.h"

#include <mutex>
#include <new>
#include <set>

#include "platform/text.h"
#include "scripted_call.h"

namespace {

std::mutex scriptMutex;
std::set<std::wstring> modules;  // a handle is the address of the name that opened it

BOOL answer(DWORD code) {
  if (code != 0) SetLastError(code);
  return code == 0;
}

}  // namespace

LoaderScript& loaderScript() {
  static LoaderScript& script = *new LoaderScript;  // the last libraries are closed late
  return script;
}

SCRIPTED_CALL(HMODULE, LoadLibraryW, (const wchar_t* fileName)) {
  const std::lock_guard lock(scriptMutex);
  LoaderScript& script = loaderScript();
  script.calls.push_back("load " + OMB::to_utf8(fileName) + " in " + script.directory);
  const auto found = script.results.find(fileName);
  const DWORD result = found == script.results.end() ? ERROR_MOD_NOT_FOUND : found->second;
  if (result == LoaderScript::throwsBadAlloc) throw std::bad_alloc();
  if (!answer(result)) return nullptr;
  return reinterpret_cast<HMODULE>(const_cast<std::wstring*>(&*modules.insert(fileName).first));
}

SCRIPTED_CALL(FARPROC, GetProcAddress, (HMODULE module, const char* name)) {
  return std::string(name) == "there" ? reinterpret_cast<FARPROC>(module) : nullptr;
}

SCRIPTED_CALL(BOOL, FreeLibrary, (HMODULE module)) {
  const std::lock_guard lock(scriptMutex);
  loaderScript().calls.push_back("free " + OMB::to_utf8(*reinterpret_cast<std::wstring*>(module)));
  return answer(loaderScript().closeResult);
}

SCRIPTED_CALL(DWORD, GetModuleFileNameW, (HMODULE /*module*/, wchar_t* fileName, DWORD size)) {
  const std::lock_guard lock(scriptMutex);
  const std::wstring& path = loaderScript().modulePath;
  // A path that is too long fills the block, and has no terminator.
  return static_cast<DWORD>(path.copy(fileName, size));
}

SCRIPTED_CALL(DWORD, GetDllDirectoryA, (DWORD size, char* directory)) {
  const std::string& current = loaderScript().directory;
  if (--loaderScript().failingGet == 0) return static_cast<DWORD>(answer(87));
  if (current.empty()) return 0;
  const auto length = static_cast<DWORD>(current.size());
  if (length >= size) return length + 1;
  directory[current.copy(directory, length)] = '\0';
  return length;
}

SCRIPTED_CALL(BOOL, SetDllDirectoryA, (const char* directory)) {
  LoaderScript& script = loaderScript();
  script.calls.push_back(directory == nullptr ? "set nothing" : "set " + std::string(directory));
  if (--script.failingSet == 0) return answer(87);
  script.directory = directory == nullptr ? "" : directory;
  return 1;
}
