#include "process_memory.h"

#include <sys/prctl.h>
#include <sys/resource.h>

#include "tool_error.h"

namespace OMB::tool {

void keepMemoryPrivate() {
  const rlimit none = {0, 0};
  if (prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) == 0 && setrlimit(RLIMIT_CORE, &none) == 0) return;
  throw ToolError(ExitCode::Failure, "the system does not keep the program's memory private");
}

}  // namespace OMB::tool
