#include "loader_script.h"

#include <mutex>
#include <new>
#include <optional>
#include <set>

#include "library_suffix.h"
#include "system/module.h"
#include "system/search_directory.h"

LoaderScript& loaderScript() {
  static LoaderScript& script = *new LoaderScript;  // the last libraries are closed late
  return script;
}

namespace OMB::system {
namespace {

std::mutex scriptMutex;
std::set<std::string> modules;  // a module is the address of the name that opened it

Failure close(Module module, const char* how) {
  const std::lock_guard lock(scriptMutex);
  loaderScript().calls.push_back("free " + *static_cast<std::string*>(module) + how);
  return {loaderScript().closeResult, loaderScript().text};
}

}  // namespace

const char kModuleSuffix[] = SUFFIX;

Opened openModule(const char* name) {
  const std::lock_guard lock(scriptMutex);
  LoaderScript& script = loaderScript();
  script.calls.push_back(std::string("load ") + name + " in " + script.directory);
  const auto found = script.results.find(name);
  const std::uint32_t result = found == script.results.end() ? kModuleNotFound : found->second;
  if (result == LoaderScript::kThrowsBadAlloc) throw std::bad_alloc();
  if (result != 0) return {nullptr, {result, script.text}};
  return {const_cast<std::string*>(&*modules.insert(name).first)};
}

Failure closeModule(Module module) {
  return close(module, "");
}

Failure closeModuleForGood(Module module) {
  return close(module, " for good");
}

void* findSymbol(Module module, const char* name) {
  return std::string(name) == "there" ? module : nullptr;
}

std::string moduleFile(Module /*module*/) {
  const std::lock_guard lock(scriptMutex);
  return loaderScript().modulePath;
}

bool isMappedFrom(Module /*module*/, const OpenFile& /*file*/) {
  return loaderScript().isMapped;
}

std::optional<std::string> searchDirectory() {
  const LoaderScript& script = loaderScript();
  if (script.unreadable || script.directory.empty()) return std::nullopt;
  return script.directory;
}

std::uint32_t setSearchDirectory(const char* directory) noexcept {
  LoaderScript& script = loaderScript();
  script.calls.push_back(directory == nullptr ? "set nothing" : "set " + std::string(directory));
  if (--script.failingSet == 0) return 87;
  script.directory = directory == nullptr ? "" : directory;
  return 0;
}

}  // namespace OMB::system
