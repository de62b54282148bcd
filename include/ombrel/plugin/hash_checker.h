// The digest test of a plug-in's dependencies.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <string>

#include "ombrel/export.h"
#include "ombrel/plugin/dependency.h"
#include "ombrel/plugin/repository.h"
#include "ombrel/plugin/return_codes.h"

namespace OMB {

class HashChecker;

/// Tests dependencies. It is deleted through this type although its destructor is not virtual: the
/// destroying operator delete ends the object as the HashChecker that it is, since no other class
/// can derive from this one. Compilers warn at a plain `delete` all the same, as they look at the
/// destructor only; std::unique_ptr<IHashChecker> does it without.
class OMBREL_API IHashChecker {
 public:
  IHashChecker(const IHashChecker&) = delete;
  IHashChecker& operator=(const IHashChecker&) = delete;

  /// See HashChecker::Check.
  [[nodiscard]] virtual int Check(const Repository<Dependency>& dependencies,
                                  std::string directory) const = 0;

  static void operator delete(IHashChecker* checker, std::destroying_delete_t) noexcept;

 private:
  friend class HashChecker;
  IHashChecker() = default;
};

/// Proves by SHA-256 that each dependency is a file that the plug-in's creator accepts. What is
/// tested is the file that the loader really mapped, so the library's code is loaded before it is
/// tested, and stays loaded whatever comes out. The bytes that are digested and the code that is
/// mapped have to be of one file, by its identity and not by its name: a file that has been
/// exchanged since the load fails the test, and so does a dependency whose name another module in
/// the process goes by as well, since the plug-in may have found that one.
class OMBREL_API HashChecker final : public IHashChecker {
 public:
  HashChecker() = default;
  static void* operator new(std::size_t size) { return ::operator new(size); }
  static void operator delete(void* checker) noexcept { ::operator delete(checker); }

  /// Loads each dependency in turn, with `directory` in the loader's search, reads its file once,
  /// from its first byte to its last, and compares its digests, which are made behind the reading.
  /// One buffer serves all of the call, and ends with it: it is as large as the largest file of
  /// which several ranges are tested, and no more than a piece of a file while there is none. The
  /// first failure ends the test. A range that leaves the file, a
  /// digest of fewer than 32 bytes and one that could not be computed never match; bytes of a
  /// digest behind the 32nd are not looked at.
  ///
  /// Returns PLUGIN_OK (also for no dependencies), DEPENDENCY_LOAD_FAILED, DEPENDENCY_READ_FAILED
  /// or INTEGRITY_CHECK_FAILED, which prints a line to standard error. Throws std::bad_alloc.
  ///
  /// Threads: no state, but the loader's search directory belongs to the process: one call at a
  /// time.
  [[nodiscard]] int Check(const Repository<Dependency>& dependencies,
                          std::string directory) const override;
};

/// Makes checkers.
class OMBREL_API HashCheckerFactory {
 public:
  /// A new HashChecker, which the caller owns and deletes through the pointer.
  [[nodiscard]] IHashChecker* Create() const;
};

}  // namespace OMB

/// Deletes a checker through its interface, without a warning.
template <>
struct OMBREL_API std::default_delete<OMB::IHashChecker> {
  void operator()(OMB::IHashChecker* checker) const noexcept;
};
