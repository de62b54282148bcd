// What the handles of one library share, and the table through which they find it.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "system/module.h"

namespace OMB {

/// One library. Threads: the count is atomic; for the rest no two loads, unloads or questions may
/// overlap.
struct library_private {
  explicit library_private(std::string name) : file_name(std::move(name)) {}

  /// Tries the names that file_name may stand for. The count is the caller's.
  bool open_handle();
  /// Closes the module with `close`; `handle` is the caller's to clear.
  bool close_handle(system::Failure (*close)(system::Module));
  /// Gives up one load, and the module with the last one. True if the module is closed now.
  bool release(system::Failure (*close)(system::Module) = system::closeModule);

  const std::string file_name;
  std::string resolved_path;  ///< of the last successful open
  std::string error_string;
  std::atomic<std::int32_t> load_count{0};
  system::Module handle = nullptr;  ///< null when the module is not open
};

/// The libraries that have a handle, or are held open without one. Threads: guards its own map
/// only.
class library_table {
 public:
  /// The table of the process. It is closed when the process ends and never destroyed, since a
  /// handle in a static object may come after that.
  static library_table& instance();

  library_table() = default;
  library_table(const library_table&) = delete;
  library_table& operator=(const library_table&) = delete;

  std::shared_ptr<library_private> find_or_create(const std::string& name);

  /// Ends a handle's reference. The entry of a library goes with its last handle, unless a load of
  /// it is held.
  void drop(std::shared_ptr<library_private> library);

  /// Closes, in the order of the names, what no handle refers to, and forgets it.
  void close();

 private:
  std::map<std::string, std::shared_ptr<library_private>> libraries;
  std::mutex mutex;
};

}  // namespace OMB
