#include "unfinished_files.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <unistd.h>

#include "tool_error.h"

namespace OMB::tool {
namespace {

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP};

// What a signal finds must be whole at any moment, so: no lock and no memory of the heap.
std::array<std::atomic<const char*>, 8> names;
static_assert(std::atomic<const char*>::is_always_lock_free);

void removeAll(int signal) {
  for (std::atomic<const char*>& name : names) {
    const char* const file = name.exchange(nullptr);
    if (file != nullptr) (void)unlink(file);
  }
  // As the signal would have ended it: the handler is gone by now.
  (void)raise(signal);
}

void installHandler() {
  for (const int signal : kEndingSignals) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;
    action.sa_handler = removeAll;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    (void)sigaction(signal, &action, nullptr);
  }
}

}  // namespace

UnfinishedFile::UnfinishedFile(const char* name) {
  installHandler();
  const auto free = std::find_if(names.begin(), names.end(), [&](auto& place) {
    const char* none = nullptr;
    return place.compare_exchange_strong(none, name);
  });
  if (free == names.end()) throw ToolError(ExitCode::Failure, "too many files at once");
  slot = static_cast<std::size_t>(free - names.begin());
}

UnfinishedFile::~UnfinishedFile() {
  names[slot] = nullptr;
}

struct SignalsHeld::Parts {
  sigset_t before;
};

SignalsHeld::SignalsHeld() : parts(std::make_unique<Parts>()) {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int signal : kEndingSignals) sigaddset(&ending, signal);
  (void)pthread_sigmask(SIG_BLOCK, &ending, &parts->before);
}

SignalsHeld::~SignalsHeld() {
  (void)pthread_sigmask(SIG_SETMASK, &parts->before, nullptr);
}

}  // namespace OMB::tool
