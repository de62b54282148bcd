#include "system/module.h"

#include <algorithm>
#include <array>
#include <vector>

#include "system/text.h"
#include "system/windows/open_modules.h"
// clang-format off
#include <psapi.h>  // behind windows.h, which it lacks the types of
// clang-format on

// Whether a module and a view are of one file, as the loader itself asks. In no header.
extern "C" LONG NTAPI NtAreMappedFilesTheSame(void* module, void* view);

namespace OMB::system {

const char kModuleSuffix[] = ".dll";

namespace {

HMODULE handleOf(Module module) {
  return static_cast<HMODULE>(module);
}

// A byte of the file, mapped for as long as it is compared.
class MappedByte {
 public:
  explicit MappedByte(const OpenFile& file)
      : mapping(CreateFileMappingW(reinterpret_cast<HANDLE>(file.native()), nullptr, PAGE_READONLY,
                                   0, 0, nullptr)),
        view(mapping == nullptr ? nullptr : MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 1)) {}
  ~MappedByte() {
    if (view != nullptr) UnmapViewOfFile(view);
    if (mapping != nullptr) CloseHandle(mapping);
  }
  MappedByte(const MappedByte&) = delete;
  MappedByte& operator=(const MappedByte&) = delete;

  void* address() const { return view; }

 private:
  HANDLE mapping;
  void* view;
};

std::wstring fileNameOf(HMODULE module) {
  std::array<wchar_t, 260> block{};
  const DWORD length = GetModuleBaseNameW(GetCurrentProcess(), module, block.data(),
                                          static_cast<DWORD>(block.size()));
  std::wstring name(block.data(), length);
  CharLowerBuffW(name.data(), length);
  return name;
}

// Others find a module by the name of its file, of whatever folder.
bool isOnlyOneOfItsName(HMODULE module) {
  const std::wstring name = fileNameOf(module);
  return std::ranges::count(openModules(), name, fileNameOf) == 1;
}

}  // namespace

Opened openModule(const char* name) {
  const HMODULE module = LoadLibraryW(to_wide(name).c_str());
  if (module == nullptr) return {nullptr, {GetLastError()}};
  return {module};
}

Failure closeModule(Module module) {
  if (FreeLibrary(handleOf(module)) != 0) return {};
  return {GetLastError()};
}

// The programs' own objects end before those of libraries do, and so before any module is closed.
Failure closeModuleForGood(Module module) {
  return closeModule(module);
}

void* findSymbol(Module module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(handleOf(module), name));
}

std::string moduleFile(Module module) {
  std::array<wchar_t, kLongestModulePath + 1> block{};
  if (GetModuleFileNameW(handleOf(module), block.data(), static_cast<DWORD>(block.size())) == 0) {
    return {};
  }
  // A path that fills the block may come without a terminator.
  return to_utf8(std::wstring(block.begin(), std::find(block.begin(), block.end(), L'\0')));
}

bool isMappedFrom(Module module, const OpenFile& file) {
  const MappedByte byte(file);
  return byte.address() != nullptr && NtAreMappedFilesTheSame(module, byte.address()) == 0 &&
         isOnlyOneOfItsName(handleOf(module));
}

}  // namespace OMB::system
