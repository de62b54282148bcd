// Whole files in, whole files out.
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>

namespace OMB::tool {

/// Everything that the file holds. Throws ToolError if it cannot be opened.
std::string readTextFile(const std::filesystem::path& file);

/// A file in the making. It is written beside its place under a name of its own and gets its name
/// at the end, so a run that fails leaves nothing behind and destroys nothing. A device or a pipe
/// is written to as it is. Every failure is a ToolError.
class PendingFile {
 public:
  explicit PendingFile(const std::filesystem::path& place);
  /// Removes what was not committed.
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  void write(std::span<const std::byte> bytes);
  void write(const std::string& text) { write(std::as_bytes(std::span(text))); }

  /// Brings all bytes to the file. Several files that belong together are all finished before the
  /// first of them is committed.
  void finish();
  /// Puts the file in its place, in the stead of what was there.
  void commit();

 private:
  [[noreturn]] void fail(const std::string& reason) const;

  std::filesystem::path target;
  std::filesystem::path temporary;  ///< empty once there is none
  std::ofstream stream;
};

}  // namespace OMB::tool
