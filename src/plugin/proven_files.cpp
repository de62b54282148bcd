#include "plugin/proven_files.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <system_error>

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

ProvenFiles::Held::Held(const fs::path& path, const std::string& name,
                        const std::vector<ExpectedDigest>& expected)
    : place(textOf(path)),
      library(name),
      digests(expected),
      file(place, system::OpenFile::Others::kLockedOut),
      lastChange(file.lastChange()),
      isSettled(liesBack(lastChange)) {}

bool ProvenFiles::Held::isStillProven() const {
  if (!file.isAt(place)) return false;
  if (isUnchanged()) return true;
  system::OpenFile again(place);
  return file.isAt(place) && coveredBy(again, digests) == Covered::kWhole;
}

Covered ProvenFiles::prove(const fs::path& place, const std::string& library,
                           const std::vector<ExpectedDigest>& digests) {
  Held& held = files.emplace_back(place, library, digests);
  const Covered part = coveredBy(held.file, digests);
  if (part != Covered::kWhole) files.pop_back();
  std::error_code none;
  for (const fs::path& file : {place, fs::canonical(place, none)}) names.insert(file.filename());
  return part;
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
