// The folder that stands in front of the system's own search for libraries.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace OMB::system {

/// The setting of the process, in the system's narrow encoding. Nothing if none is set, or if it
/// can't be read.
std::optional<std::string> searchDirectory();

/// Null goes back to the default search. Returns 0, or the code of the failure, and then nothing
/// has changed. Putting back what was there before does not fail for want of memory.
std::uint32_t setSearchDirectory(const char* directory) noexcept;

}  // namespace OMB::system
