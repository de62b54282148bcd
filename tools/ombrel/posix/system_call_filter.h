// Which system calls the engine may make behind the fence.
#pragma once

namespace OMB::tool {

/// Whether the kernel takes such filters.
bool canFilterSystemCalls();

/// Puts the filter over the calling thread and all that it makes. Files are told apart by what is
/// over them, not by the filter. Returns false with errno set.
[[nodiscard]] bool filterSystemCalls();

}  // namespace OMB::tool
