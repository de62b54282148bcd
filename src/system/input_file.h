// Files opened for reading as streams.
#pragma once

#include <fstream>

namespace OMB::system {

/// Opens the file, positioned and taken as `mode` says (std::ios::ate for its end,
/// std::ios::binary for its bytes as they are). A folder counts as a file that cannot be opened,
/// though some systems open one, and so does a pipe at its end. Ask the stream whether it worked.
/// Narrow names are in the system's narrow encoding.
std::ifstream openForReading(const char* fileName, std::ios::openmode mode);
std::ifstream openForReading(const wchar_t* fileName, std::ios::openmode mode);

}  // namespace OMB::system
