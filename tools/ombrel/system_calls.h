// What the program asks of its system, beside what the framework does: posix/ and windows/.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string_view>

namespace OMB::tool {

/// Paths of texts in UTF-8, which narrow paths are not on every system.
inline std::filesystem::path pathOf(std::string_view utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

enum class Existing { Emptied, Refused };  ///< what is to become of a file that is there
enum class Readers { Any, Owner };         ///< who may read a new file, where the system can tell

/// Numbers of files as close, read and write take them, for bytes as they are; -1 with errno set.
[[nodiscard]] int openToRead(const std::filesystem::path& file);
[[nodiscard]] int openToWrite(const std::filesystem::path& file, Existing existing,
                              Readers readers);
/// The same for the program's own input and output.
[[nodiscard]] int openStandardInput();
[[nodiscard]] int openStandardOutput();
/// From now on a pipe whose reader has gone fails like any other file, and ends nobody; and a
/// standard stream that is closed fails, where a file could have got its number and its bytes.
void guardStandardStreams();
/// Whether all that was written is on the disk now.
[[nodiscard]] bool sync(int file);
/// Takes the place of what was there, or sets errno.
[[nodiscard]] bool moveOver(const std::filesystem::path& from, const std::filesystem::path& to);
/// Makes names that were given or taken in the file's folder last through a power failure, as far
/// as the file system can.
void syncFolderOf(const std::filesystem::path& file);
/// Whether it is a file of this user's that others may read. False where rights are no bits.
[[nodiscard]] bool isOpenToOthers(int file);

/// Overwrites memory that nobody reads any more.
void wipe(void* memory, std::size_t size);
void removeVariable(const char* name);
[[nodiscard]] std::filesystem::path programFile();

}  // namespace OMB::tool
