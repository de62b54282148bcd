// A file's bytes from somewhere in it.
#pragma once

#include <cstdint>
#include <string>

namespace OMB::platform {

/// Reads as Utility::readAllFile does, but from `offset` on.
void readFilePart(const std::string& fileName, std::uint64_t offset, void* buffer,
                  std::uint64_t size);

}  // namespace OMB::platform
