// The modules that LoadLibraryW has given and FreeLibrary has not taken back.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace OMB::posix {

/// dlclose and dlsym trust any address, so a handle is looked up here first. Threads: all
/// operations may run at the same time.
class OpenModules {
 public:
  /// The set of the process, which outlives everything in it.
  static OpenModules& instance();

  /// Counts one more load of the module that is mapped from `path`.
  void add(void* handle, std::string path);
  /// Takes one load off; false if there is none.
  bool remove(void* handle);
  /// Nothing if the module has no load.
  std::optional<std::string> pathOf(void* handle);

 private:
  struct Module {
    std::string path;
    int loads = 0;
  };

  std::map<void*, Module> modules_;
  std::mutex mutex_;
};

}  // namespace OMB::posix
