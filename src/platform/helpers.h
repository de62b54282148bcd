// Other threads for work that comes in pieces.
#pragma once

#include <cstddef>
#include <functional>

namespace OMB::platform {

/// How many threads are to help the calling one where `most` would have enough to do: no more than
/// there are processors for, and three at most, since more would wait for the memory.
std::size_t helpersFor(std::size_t most);

/// Runs `help` on as many other threads and meanwhile `work` on this one, and returns when all are
/// done. A thread that cannot be started is done without. What `work` throws passes; `help` throws
/// nothing.
void runWithHelpers(std::size_t helpers, const std::function<void()>& help,
                    const std::function<void()>& work);

}  // namespace OMB::platform
