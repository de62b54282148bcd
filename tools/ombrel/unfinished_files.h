// Files that must not outlive the program unless they are finished.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>

namespace OMB::tool {

/// While one of these lives, a signal that the user ends the program with (SIGINT, SIGTERM, SIGHUP;
/// on Windows a key of the console, or its end) removes the file of that name before it ends the
/// program. One that was ignored stays so.
class UnfinishedFile {
 public:
  /// `name` outlives the object. Throws ToolError if there are too many.
  explicit UnfinishedFile(const std::filesystem::path::value_type* name);
  ~UnfinishedFile();
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

 private:
  std::size_t slot;
};

/// While this lives, those signals wait.
class SignalsHeld {
 public:
  SignalsHeld();
  ~SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts;
};

}  // namespace OMB::tool
