// What a process gives up before it runs what it does not trust.
#pragma once

#include <filesystem>
#include <span>

namespace OMB::tool {

/// Throws ToolError where the kernel has no Landlock or takes no filters.
void requireFences();

/// From now on the process and the threads that it makes may read the files that are named and what
/// tells of the processors, list the folders that are named, open nothing to write, and talk to
/// nothing that is not open: no network, no program, no process. Names and sizes of other files
/// stay visible. What is asked for beyond that fails with an error number. Can't be undone. Throws
/// ToolError, also if there are threads already, which would stay outside.
void closeFence(std::span<const std::filesystem::path> readable);

}  // namespace OMB::tool
