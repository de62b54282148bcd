#include "plugin/proven_files.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <new>
#include <system_error>

#include "platform/helpers.h"
#include "plugin/path_text.h"
#include "system/mapped_modules.h"

namespace OMB {
namespace {

namespace fs = std::filesystem;

// A file may be changed twice within a step of the file system's clock, 2 s at most, and show one
// time. Only where that lies longer back does the same time mean the same bytes.
bool liesBack(std::int64_t lastChange) {
  using std::chrono::nanoseconds;
  constexpr nanoseconds kCoarsestStep = std::chrono::seconds(2);
  const nanoseconds now = std::chrono::system_clock::now().time_since_epoch();
  return lastChange != 0 && now - nanoseconds(lastChange) > kCoarsestStep;
}

Covered coveredBy(system::OpenFile& file, const std::vector<ExpectedDigest>& digests) {
  const std::int64_t size = file.size();
  if (size < 0) return Covered::kUnread;
  return covered(file, static_cast<std::uint64_t>(size), digests);
}

}  // namespace

ProvenFiles::Held::Held(ClaimedFile claim)
    : place(textOf(claim.place)),
      library(std::move(claim.library)),
      digests(std::move(claim.digests)),
      file(place, system::OpenFile::Others::kLockedOut),
      lastChange(file.lastChange()),
      isSettled(liesBack(lastChange)) {}

bool ProvenFiles::Held::isStillProven() const {
  if (!file.isAt(place)) return false;
  if (isUnchanged()) return true;
  system::OpenFile again(place);
  return file.isAt(place) && coveredBy(again, digests) == Covered::kWhole;
}

std::vector<Covered> ProvenFiles::prove(std::vector<ClaimedFile> claims) {
  for (ClaimedFile& claim : claims) {
    std::error_code none;
    for (const fs::path& file : {claim.place, fs::canonical(claim.place, none)}) {
      names.insert(file.filename());
    }
    files.emplace_back(std::move(claim));
  }
  readAll();
  std::vector<Covered> parts;
  for (const Held& held : files) parts.push_back(held.part);
  files.remove_if([](const Held& held) { return held.part != Covered::kWhole; });
  return parts;
}

// The largest first, as one that is begun last keeps everybody waiting.
void ProvenFiles::readAll() {
  std::vector<Held*> queue;
  std::int64_t bytes = 0;
  for (Held& held : files) {
    queue.push_back(&held);
    bytes += std::max<std::int64_t>(held.file.size(), 0);
  }
  std::ranges::stable_sort(queue, std::greater(),
                           [](const Held* held) { return held->file.size(); });
  std::atomic<std::size_t> next = 0;
  const auto read = [&] {
    for (std::size_t i; (i = next++) < queue.size();) {
      queue[i]->part = coveredBy(queue[i]->file, queue[i]->digests);
    }
  };
  const auto help = [&] {
    try {
      read();
    } catch (const std::bad_alloc&) {
      // What it had begun stays unread, and is no proof.
    }
  };
  constexpr std::int64_t kLeastBytes = std::int64_t{4}
                                       << 20;  // which pay for the start of a thread
  const auto most = std::min(queue.size(), static_cast<std::size_t>(bytes / kLeastBytes));
  platform::runWithHelpers(platform::helpersFor(most), help, read);
}

std::string ProvenFiles::firstChanged() const {
  const auto changed = std::ranges::find_if_not(files, &Held::isStillProven);
  return changed == files.end() ? std::string() : changed->place;
}

bool ProvenFiles::isMapped(const std::string& library, system::Module module) const {
  return std::ranges::any_of(files, [&](const Held& held) {
    return held.library == library && held.isUnchanged() && isMappedFrom(module, held.file);
  });
}

std::string ProvenFiles::firstUnlistedModule() const {
  std::error_code none;
  std::map<fs::path, bool> isOurs;  // most libraries of a process come from few folders
  for (const std::string& module : system::mappedModules()) {
    const fs::path file = pathOf(module);
    const auto [known, isNew] = isOurs.emplace(file.parent_path(), false);
    if (isNew) known->second = fs::equivalent(known->first, folder, none);
    if (known->second && !names.contains(file.filename())) return module;
  }
  return {};
}

}  // namespace OMB
