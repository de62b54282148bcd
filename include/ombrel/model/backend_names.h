// EBackend: the backends that a host can ask for, and their names.
#pragma once

#include <cstdint>
#include <optional>

#include "ombrel/export.h"

namespace OMB {

/// Names a backend. A value class around one byte, passed by value.
/// Threads: all operations may run at the same time.
class OMBREL_API EBackend {
 public:
  enum Value : std::uint8_t { OV_CPU = 1, TF_CPU, TF_GPU, AUTO, UNDEFINED };

  // NOLINTNEXTLINE(google-explicit-constructor): an enumerator is a backend
  constexpr EBackend(Value backend) noexcept : value(backend) {}
  // NOLINTNEXTLINE(google-explicit-constructor): so that it can be compared
  constexpr operator Value() const noexcept { return value; }

  /// The backend whose name is exactly `name` (NUL-terminated, not null), or nothing. Case matters
  /// and no blank is forgiven.
  [[nodiscard]] static std::optional<EBackend> FindByName(const char* name) noexcept;

  /// The backend's name, a constant that lives as long as the library; null for a value outside the
  /// enumeration.
  const char* GetName() const noexcept;

  /// Trims the name table that GetName reads. The library does this once when it is loaded; further
  /// calls do nothing.
  static void InitNames() noexcept;

 private:
  Value value;
};

}  // namespace OMB
