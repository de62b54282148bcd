#include "ombrel/platform/library.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/library_table.h"
#include "platform/text.h"

namespace OMB {
namespace {

constexpr std::string_view kPrefix = "lib";

bool isSeparator(char c) {
  return c == '/' || c == '\\';
}

// "\\server" or what ends in the first colon.
std::size_t rootNameLength(std::string_view name) {
  if (name.size() > 2 && isSeparator(name[0]) && isSeparator(name[1]) && !isSeparator(name[2])) {
    const auto end = std::find_if(name.begin() + 3, name.end(), isSeparator);
    return static_cast<std::size_t>(end - name.begin());
  }
  return name.find(':') + 1;
}

bool isAbsolute(std::string_view name) {
  const std::size_t root = rootNameLength(name);
  return root != 0 && root < name.size() && isSeparator(name[root]);
}

// Tries the names that a library of this name may have on disk, until one opens or fails in another
// way than not being there. The failure is that of the last attempt.
system::Opened openFirst(std::string_view name) {
  const std::string_view suffix = system::kModuleSuffix;
  const auto suffixes = isAbsolute(name) ? std::array<std::string_view, 2>{"", suffix}
                                         : std::array<std::string_view, 2>{suffix, ""};
  system::Opened opened;
  std::string candidate;
  for (const std::string_view before : {std::string_view(), kPrefix}) {
    if (!before.empty() && name.starts_with(before)) continue;
    for (const std::string_view behind : suffixes) {
      if (!behind.empty() && name.ends_with(behind)) continue;
      candidate.assign(before).append(name).append(behind);
      opened = system::openModule(candidate.c_str());
      if (opened.module != nullptr || opened.failure.code != system::kModuleNotFound) {
        return opened;
      }
    }
  }
  return opened;
}

std::string textOf(const system::Failure& failure) {
  return failure.text.empty() ? system_error_text(static_cast<int>(failure.code)) : failure.text;
}

struct ModuleCloser {
  void operator()(system::Module module) const noexcept { system::closeModule(module); }
};
// Closes a module that nobody took over.
using OwnedModule = std::unique_ptr<void, ModuleCloser>;

}  // namespace

bool library_private::open_handle() {
  const system::Opened opened = openFirst(file_name);
  OwnedModule module(opened.module);
  if (module == nullptr) {
    error_string = "Cannot load library: '" + file_name + "' : " + textOf(opened.failure);
    return false;
  }
  resolved_path = system::moduleFile(module.get());
  error_string.clear();
  handle = module.release();
  return true;
}

bool library_private::close_handle(system::Failure (*close)(system::Module)) {
  const system::Failure failure = close(handle);
  if (failure.code == 0) return true;
  error_string = "Cannot unload library: " + file_name + " : " + textOf(failure);
  return false;
}

bool library_private::release(system::Failure (*close)(system::Module)) {
  if (handle == nullptr) return false;
  if (--load_count == 0 && close_handle(close)) {
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
  if (!is_loaded()) return nullptr;
  return system::findSymbol(private_data->handle, symbol_name.c_str());
}

std::string Library::get_file_name() const {
  return private_data->resolved_path.empty() ? private_data->file_name
                                             : private_data->resolved_path;
}

std::string Library::get_error_string() const {
  return private_data->error_string;
}

}  // namespace OMB
