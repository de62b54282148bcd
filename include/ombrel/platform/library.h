// Library: a handle on a dynamic library, shared by name.
#pragma once

#include <memory>
#include <string>

#include "ombrel/export.h"

namespace OMB {

struct library_private;

/// All handles on one name share one module, one load count and one error text, through a
/// process-wide table. Names are told apart exactly: two ways of writing one path are two names.
/// The table keeps a loaded module open when its handles are gone, until the process ends; only
/// `unload` closes it earlier. What the table closes then has its code in place to the last, so
/// static objects may use handles and what came from a library, in any order. Names, paths and
/// texts are UTF-8, or on other systems than Windows any bytes that the system takes. Nothing is
/// printed, and nothing thrown but std::bad_alloc.
///
/// Threads: handles may be made and destroyed anywhere at any time, and different names are
/// independent. `load`, `unload` and `get_file_name` on handles of one name must not overlap.
class OMBREL_API Library {
 public:
  /// Opens nothing yet.
  explicit Library(std::string file_name);
  /// Closes nothing. The last handle of a name forgets it, unless somebody holds a load of it.
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// Opens the library unless it is open, and holds a load of it from then on. The name is tried
  /// with and without the prefix "lib" and the platform's suffix, as long as the answer is that
  /// there is no such file; any other failure ends the search. A handle that holds a load, even of
  /// a library that failed to open, tries nothing: it returns whether the library is open.
  [[nodiscard]] bool load();

  /// Gives up this handle's load. Returns true if the module is closed now; false if this handle
  /// held no load, if others hold one, or if the close failed.
  bool unload();

  /// True if the module is open, whoever opened it.
  bool is_loaded() const;

  /// Address of a symbol of the library; null if it has no symbol of that name, or is not open.
  void* get_method(std::string symbol_name);

  /// Full path of the file that was opened last, or the name given to the constructor before that.
  /// A path of more than 259 characters comes back cut, and then names no file or another one: the
  /// digest test of a dependency fails for it.
  std::string get_file_name() const;

  /// Text of the last failure; empty after a successful open or close.
  std::string get_error_string() const;

 private:
  std::shared_ptr<library_private> private_data;
  bool holds_load = false;
};

}  // namespace OMB
