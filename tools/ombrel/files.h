// Whole files in, whole files out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "descriptor.h"
#include "exit_codes.h"
#include "unfinished_files.h"

namespace OMB::tool {

/// What the name "-" stands for.
enum class Dash { AFile, AStandardStream };

/// Everything that the file holds. Throws ToolError with `code` if it cannot be read to its end,
/// or holds more than a gibibyte.
std::vector<unsigned char> readBytes(const std::filesystem::path& file, Dash dash = Dash::AFile,
                                     ExitCode code = ExitCode::File);
std::string readTextFile(const std::filesystem::path& file);

/// Why the file cannot be read, in the system's words behind a colon; empty if it can.
std::string reasonNotRead(const std::filesystem::path& file);

/// Gives what the file holds, or the first `most` bytes of it, in its order; a piece stays as it is
/// during its call. Throws ToolError if it cannot be read to its end.
void readInPieces(const std::filesystem::path& file,
                  const std::function<void(std::span<const unsigned char>)>& take,
                  std::uint64_t most = UINT64_MAX);

/// A file in the making. It is written beside its place under a name of its own and gets its name
/// at the end, when its bytes are on the disk, so a run that fails or is ended by a signal leaves
/// nothing behind and destroys nothing. A device or a pipe is written to as it is. Every failure is
/// a ToolError.
class PendingFile {
 public:
  explicit PendingFile(const std::filesystem::path& place, Dash dash = Dash::AFile);
  /// Removes what was not committed.
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  void write(std::span<const std::byte> bytes);
  void write(const std::string& text) { write(std::as_bytes(std::span(text))); }

  /// Brings all bytes to the disk.
  void finish();
  /// Puts the file in its place, in the stead of what was there.
  void commit();

  const std::filesystem::path& place() const { return target; }

 private:
  void open();
  [[noreturn]] void fail(const std::string& reason) const;

  std::filesystem::path target;
  std::filesystem::path temporary;  ///< empty once there is none
  std::optional<UnfinishedFile> unfinished;
  Descriptor file;
};

/// Commits files that are of use together only, in this order. Nothing is put in place before all
/// are on the disk, and no signal comes between. If one cannot be put in place all the same, the
/// ToolError says which are new.
void commitTogether(std::initializer_list<PendingFile*> files);

}  // namespace OMB::tool
