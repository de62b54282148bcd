// A file that is in memory only, for code that writes to nothing but files.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace OMB::system {

/// Ends with the object, its bytes wiped. No other process can open it without the right to look
/// into this one. Like all memory it may be swapped out.
class MemoryFile {
 public:
  /// Where the system has no such files, or makes none, the path is empty.
  MemoryFile();
  ~MemoryFile();
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  /// A name for opening it in this process.
  const std::string& path() const noexcept { return name; }

  /// The memory itself, of what has been written; called once and after that. Empty on failure.
  std::span<unsigned char> bytes() noexcept;

 private:
  std::intptr_t handle = -1;
  std::string name;
  std::span<unsigned char> mapped;
};

}  // namespace OMB::system
