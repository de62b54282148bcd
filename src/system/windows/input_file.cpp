#include "system/input_file.h"

#include <filesystem>

namespace OMB::system {

// The system opens no folder.
std::ifstream openForReading(const char* fileName, std::ios::openmode mode) {
  return std::ifstream(fileName, std::ios::in | mode);
}

std::ifstream openForReading(const wchar_t* fileName, std::ios::openmode mode) {
  return std::ifstream(std::filesystem::path(fileName), std::ios::in | mode);
}

}  // namespace OMB::system
