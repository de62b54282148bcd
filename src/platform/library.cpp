#include "ombrel/platform/library.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/library_table.h"
#include "platform/system_calls.h"
#include "platform/text.h"

namespace OMB {
namespace {

constexpr std::wstring_view libraryPrefix = L"lib";

bool isSeparator(wchar_t c) {
  return c == L'/' || c == L'\\';
}

// "\\server" or what ends in the first colon.
std::size_t rootNameLength(std::wstring_view name) {
  if (name.size() > 2 && isSeparator(name[0]) && isSeparator(name[1]) && !isSeparator(name[2])) {
    const auto end = std::find_if(name.begin() + 3, name.end(), isSeparator);
    return static_cast<std::size_t>(end - name.begin());
  }
  return name.find(L':') + 1;
}

bool isAbsolute(std::wstring_view name) {
  const std::size_t root = rootNameLength(name);
  return root != 0 && root < name.size() && isSeparator(name[root]);
}

struct ModuleCloser {
  void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
};
// Closes a module that nobody took over.
using Module = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleCloser>;

// Tries the names that a library of this name may have on disk, until one opens or fails in another
// way than not being there. The thread's last error is that of the last attempt.
HMODULE openFirst(const std::wstring& name) {
  const std::wstring_view suffix = moduleSuffix;
  const auto suffixes = isAbsolute(name) ? std::array<std::wstring_view, 2>{L"", suffix}
                                         : std::array<std::wstring_view, 2>{suffix, L""};
  std::wstring candidate;
  for (const std::wstring_view before : {std::wstring_view(), libraryPrefix}) {
    if (!before.empty() && name.starts_with(before)) continue;
    for (const std::wstring_view behind : suffixes) {
      if (!behind.empty() && name.ends_with(behind)) continue;
      candidate.assign(before).append(name).append(behind);
      const HMODULE handle = LoadLibraryW(candidate.c_str());
      if (handle != nullptr || GetLastError() != ERROR_MOD_NOT_FOUND) return handle;
    }
  }
  return nullptr;
}

std::string pathOf(HMODULE module) {
  std::array<wchar_t, 260> block{};
  if (GetModuleFileNameW(module, block.data(), static_cast<DWORD>(block.size())) == 0) return {};
  // A path that fills the block may come without a terminator.
  return to_utf8(std::wstring(block.begin(), std::find(block.begin(), block.end(), L'\0')));
}

}  // namespace

bool library_private::open_handle() {
  Module opened(openFirst(to_wide(file_name)));
  if (opened == nullptr) {
    const std::string reason = system_error_text(-1);
    error_string = "Cannot load library: '" + file_name + "' : " + reason;
    return false;
  }
  resolved_path = pathOf(opened.get());
  error_string.clear();
  handle = opened.release();
  return true;
}

bool library_private::close_handle() {
  if (FreeLibrary(handle) != 0) return true;
  const std::string reason = system_error_text(-1);
  error_string = "Cannot unload library: " + file_name + " : " + reason;
  return false;
}

bool library_private::release() {
  if (handle == nullptr) return false;
  if (--load_count == 0 && close_handle()) {
    error_string.clear();
    handle = nullptr;
  }
  return handle == nullptr;
}

Library::Library(std::string file_name)
    : private_data(library_table::instance().find_or_create(file_name)) {}

Library::~Library() {
  library_table::instance().drop(std::move(private_data));
}

bool Library::load() {
  if (holds_load) return is_loaded();
  holds_load = true;
  if (!is_loaded() && !private_data->open_handle()) return false;
  ++private_data->load_count;
  return true;
}

bool Library::unload() {
  if (!holds_load) return false;
  holds_load = false;
  return private_data->release();
}

bool Library::is_loaded() const {
  return private_data->handle != nullptr;
}

void* Library::get_method(std::string symbol_name) {
  return reinterpret_cast<void*>(GetProcAddress(private_data->handle, symbol_name.c_str()));
}

std::string Library::get_file_name() const {
  return private_data->resolved_path.empty() ? private_data->file_name
                                             : private_data->resolved_path;
}

std::string Library::get_error_string() const {
  return private_data->error_string;
}

}  // namespace OMB
