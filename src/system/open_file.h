// A file that is held by what it is, whatever becomes of its name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace OMB::system {

/// Open for reading from its first byte on.
class OpenFile {
 public:
  using Native = std::intptr_t;
  static constexpr Native kNone = -1;

  /// What is read at once of a file that is worked on meanwhile: it stays in the cache of a core,
  /// where the work finds it.
  static constexpr std::size_t kPiece = std::size_t{1} << 17;

  enum class Others {
    kMayChangeIt,
    kLockedOut,  ///< from writing, moving and removing it, where the system can: on Windows
  };

  /// `path` is UTF-8, or the system's own bytes. Does not wait for a pipe's writer.
  explicit OpenFile(const std::string& path, Others others = Others::kMayChangeIt);
  ~OpenFile();
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  /// -1 if it could not be opened or is no plain file.
  std::int64_t size() const noexcept;

  /// Goes on reading up to `size` bytes; the number of bytes that there were.
  std::size_t read(void* buffer, std::size_t size) noexcept;

  /// When its bytes, rights or names were changed last, in nanoseconds since 1970, as exactly as
  /// the file system keeps it. Nobody sets it by hand but who sets the clock. 0 if it can't be
  /// told.
  std::int64_t lastChange() const noexcept;

  /// Whether the path leads to this very file now.
  bool isAt(const std::string& path) const noexcept;

  /// The system's handle, kNone if it could not be opened.
  Native native() const noexcept { return handle; }

 private:
  Native handle;
};

}  // namespace OMB::system
