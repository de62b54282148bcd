#include "unfinished_files.h"

#include <algorithm>
#include <array>
#include <mutex>

#include "tool_error.h"
#include "windows/windows_calls.h"

namespace OMB::tool {
namespace {

// Windows tells of the end in a thread of its own, so that locks do.
std::mutex changing, committing;
std::array<const wchar_t*, 8> names;

BOOL WINAPI removeAll(DWORD /*event*/) {
  const std::scoped_lock lock(committing, changing);
  for (const wchar_t*& name : names) {
    if (name != nullptr) DeleteFileW(name);
    name = nullptr;
  }
  return FALSE;  // and so the system ends the program
}

}  // namespace

UnfinishedFile::UnfinishedFile(const std::filesystem::path::value_type* name) {
  static const BOOL installed = SetConsoleCtrlHandler(removeAll, TRUE);
  (void)installed;
  const std::lock_guard lock(changing);
  const auto free = std::find(names.begin(), names.end(), nullptr);
  if (free == names.end()) throw ToolError(ExitCode::Failure, "too many files at once");
  *free = name;
  slot = static_cast<std::size_t>(free - names.begin());
}

UnfinishedFile::~UnfinishedFile() {
  const std::lock_guard lock(changing);
  names[slot] = nullptr;
}

struct SignalsHeld::Parts {
  std::lock_guard<std::mutex> lock{committing};
};

SignalsHeld::SignalsHeld() : parts(std::make_unique<Parts>()) {}
SignalsHeld::~SignalsHeld() = default;

}  // namespace OMB::tool
