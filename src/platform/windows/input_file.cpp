#include "platform/input_file.h"

#include <filesystem>

namespace OMB {

// As bytes, or byte 0x1A would end the file. The system opens no folder.
std::ifstream openForReading(const char* fileName, std::ios::openmode mode) {
  return std::ifstream(fileName, std::ios::in | std::ios::binary | mode);
}

std::ifstream openForReading(const wchar_t* fileName, std::ios::openmode mode) {
  return std::ifstream(std::filesystem::path(fileName), std::ios::in | std::ios::binary | mode);
}

}  // namespace OMB
