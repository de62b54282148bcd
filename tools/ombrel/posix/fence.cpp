#include "posix/fence.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <linux/landlock.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "descriptor.h"
#include "posix/system_call_filter.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

// All that the first kernels with Landlock tell apart. What later ones add the filter refuses.
constexpr std::uint64_t kAllAccess = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1) - 1;

constexpr std::uint64_t kRead = LANDLOCK_ACCESS_FS_READ_FILE;
constexpr std::uint64_t kList = LANDLOCK_ACCESS_FS_READ_DIR;

[[noreturn]] void fail(const std::string& what) {
  throw ToolError(ExitCode::Fence, "the fence cannot be closed: " + what);
}

void check(bool done, const char* what) {
  if (!done) fail(std::string(what) + ": " + std::strerror(errno));
}

// What the machine is, without which the engine looks for its processors for ever.
constexpr const char* kMachine[] = {"/proc/cpuinfo", "/sys/devices/system/cpu",
                                    "/sys/devices/system/node"};

// The plug-in may have made some while it was loaded.
void requireOneThread() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  if (std::distance(begin(threads), end(threads)) != 1) fail("the plug-in has started threads");
}

void allow(const Descriptor& ruleset, const std::filesystem::path& place, std::uint64_t access) {
  const Descriptor opened(open(place.c_str(), O_PATH | O_CLOEXEC));
  if (!opened) return;  // what is missing is told by who looks for it
  if (!std::filesystem::is_directory(place)) access &= ~kList;
  const landlock_path_beneath_attr rule = {.allowed_access = access, .parent_fd = opened.get()};
  check(syscall(__NR_landlock_add_rule, ruleset.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0,
        "Landlock");
}

void fenceFiles(std::span<const std::filesystem::path> readable) {
  const landlock_ruleset_attr attributes = {.handled_access_fs = kAllAccess};
  const Descriptor ruleset(
      static_cast<int>(syscall(__NR_landlock_create_ruleset, &attributes, sizeof(attributes), 0)));
  check(static_cast<bool>(ruleset), "Landlock");
  for (const std::filesystem::path& place : readable) {
    allow(ruleset, place, std::filesystem::is_directory(place) ? kList : kRead);
  }
  for (const char* place : kMachine) allow(ruleset, place, kRead | kList);
  check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "privileges");
  check(syscall(__NR_landlock_restrict_self, ruleset.get(), 0) == 0, "Landlock");
}

}  // namespace

void requireFences() {
  const long landlock =
      syscall(__NR_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  if (landlock < 1) throw ToolError(ExitCode::Fence, "this kernel has no Landlock to fence with");
  if (!canFilterSystemCalls()) throw ToolError(ExitCode::Fence, "this kernel takes no filters");
}

void closeFence(std::span<const std::filesystem::path> readable) {
  requireOneThread();
  const rlimit none = {0, 0};
  check(setrlimit(RLIMIT_CORE, &none) == 0, "limits");
  fenceFiles(readable);
  check(filterSystemCalls(), "filter");
}

}  // namespace OMB::tool
