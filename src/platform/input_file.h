// Files opened for reading, with narrow and wide names.
#pragma once

#include <fstream>

namespace OMB {

/// Opens the file as bytes, positioned as `mode` says (std::ios::ate for its end). A folder counts
/// as a file that cannot be opened, though some systems open one, and so does a pipe at its end.
/// Ask the stream whether it worked.
std::ifstream openForReading(const char* fileName, std::ios::openmode mode = {});
std::ifstream openForReading(const wchar_t* fileName, std::ios::openmode mode = {});

}  // namespace OMB
