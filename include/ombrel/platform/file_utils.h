// Size and contents of files.
#pragma once

#include <cstdint>
#include <string>

#include "ombrel/export.h"

/// Narrow names are in the system's narrow encoding (UTF-8 wherever that is not Windows), wide
/// names in wide characters. All functions may run on any thread at the same time. Nothing is
/// printed.
namespace OMB::Utility {

/// Size of the file in bytes; -1 if it cannot be opened for reading, as a folder cannot, or has no
/// size, as a pipe. Other readers and writers are not locked out. The pointer forms throw nothing.
[[nodiscard]] OMBREL_API std::int64_t fileSize(const char* fileName);
[[nodiscard]] OMBREL_API std::int64_t fileSize(const wchar_t* fileName);
[[nodiscard]] OMBREL_API std::int64_t fileSize(std::string fileName);
[[nodiscard]] OMBREL_API std::int64_t fileSize(std::wstring fileName);

/// Reads up to `size` bytes from the start of the file into `buffer`, which has room for them.
/// Nothing is reported: bytes that the file does not have, or that cannot be read, leave the buffer
/// as it was.
OMBREL_API void readAllFile(const std::string& fileName, void* buffer, std::uint64_t size);
OMBREL_API void readAllFile(const std::wstring& fileName, void* buffer, std::uint64_t size);

}  // namespace OMB::Utility
