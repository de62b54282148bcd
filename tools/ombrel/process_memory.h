// Who may look into the program.
#pragma once

namespace OMB::tool {

/// From now on no other process of this user may read or trace the program's memory, and a crash
/// leaves no core file. The system's own administrator still may. Throws ToolError.
void keepMemoryPrivate();

}  // namespace OMB::tool
