#include "ombrel/plugin/package_verifier.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <set>
#include <system_error>

#include "plugin/file_digests.h"
#include "plugin/path_text.h"
#include "system/module.h"
#include "system/open_file.h"

namespace OMB {
namespace {

namespace fs = std::filesystem;

std::vector<ExpectedDigest> digestsOf(const ManifestDependency& dependency) {
  std::vector<ExpectedDigest> digests;
  for (const auto& [sha256, offset, length] : dependency.hashes) {
    digests.push_back({sha256, offset, length});
  }
  return digests;
}

// The names of files, any of which the loader may take for a library of that name.
std::set<std::string> namesOf(const std::string& library) {
  std::set<std::string> names;
  for (const std::string& name : {library, "lib" + library}) {
    names.insert({name, name + system::kModuleSuffix});
  }
  return names;
}

bool isThere(const fs::path& place) {
  std::error_code none;
  return fs::exists(fs::symlink_status(place, none));
}

// A link may lead to another name in its own folder, as those of versions do.
bool leavesFolder(const fs::path& place) {
  std::error_code failed;
  const fs::path file = fs::canonical(place, failed);
  const fs::path folder = fs::canonical(place.parent_path(), failed);
  return failed || file.parent_path() != folder;
}

EPackageFault faultOf(Covered part) {
  switch (part) {
    case Covered::kWhole:
      return EPackageFault::NONE;
    case Covered::kPart:
      return EPackageFault::PARTLY_COVERED;
    case Covered::kNothing:
      return EPackageFault::CHANGED;
    case Covered::kUnread:
      break;
  }
  return EPackageFault::UNREADABLE;
}

}  // namespace

struct PackageVerifier::Files {
  Files(const std::string& root, std::vector<PackageFinding>& result)
      : folder(fs::absolute(pathOf(root)).lexically_normal()), findings(result) {}

  // One place, and what it leads to if it is a link.
  void prove(const fs::path& place, const std::vector<ExpectedDigest>& digests) {
    known.insert(place);
    std::error_code none;
    known.insert(place.parent_path() / fs::canonical(place, none).filename());
    // With the manifest's separators.
    const fs::path name = place.lexically_relative(folder).generic_u8string();
    findings.push_back({textOf(name), faultAt(place, digests)});
  }

  // A dependency in each of the places where the loader may find it.
  void prove(const ManifestDependency& dependency) {
    std::set<fs::path> places;
    for (const std::string& name : namesOf(dependency.name)) {
      if (isThere(folder / pathOf(name))) places.insert(folder / pathOf(name));
    }
    if (!dependency.file.empty()) {
      places.insert((folder / pathOf(dependency.file)).lexically_normal());
    }
    if (places.empty()) findings.push_back({dependency.name, EPackageFault::MISSING});
    for (const fs::path& place : places) prove(place, digestsOf(dependency));
  }

  // The library that everything begins with: nothing else tests it if no dependency names it.
  void requireListed(const std::string& plugin) {
    bool found = false;
    for (const std::string& name : namesOf(plugin)) {
      const fs::path place = folder / pathOf(name);
      if (!isThere(place)) continue;
      found = true;
      if (!known.contains(place)) findings.push_back({name, EPackageFault::UNLISTED});
      known.insert(place);
    }
    if (!found) findings.push_back({plugin, EPackageFault::MISSING});
  }

  void requireNothingElse(const std::vector<std::string>& besides) {
    for (const std::string& name : besides) known.insert(folder / pathOf(name));
    std::set<std::string> extras;  // in an order that does not change
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
      if (!known.contains(entry->path())) extras.insert(textOf(entry->path().filename()));
    }
    for (const std::string& name : extras) findings.push_back({name, EPackageFault::EXTRA});
    if (failed) findings.push_back({textOf(folder), EPackageFault::UNREADABLE});
  }

  const fs::path folder;

 private:
  EPackageFault faultAt(const fs::path& place, const std::vector<ExpectedDigest>& digests) {
    std::error_code none;
    const fs::file_status status = fs::status(place, none);
    if (!fs::exists(status)) return EPackageFault::MISSING;
    if (!fs::is_regular_file(status)) return EPackageFault::NOT_PLAIN;
    if (leavesFolder(place)) return EPackageFault::LEAVES_FOLDER;
    system::OpenFile& file = open.emplace_back(textOf(place));
    const std::int64_t size = file.size();
    if (size < 0) return EPackageFault::UNREADABLE;
    return faultOf(covered(file, static_cast<std::uint64_t>(size), digests));
  }

  std::vector<PackageFinding>& findings;
  std::set<fs::path> known;           // places that were looked at, or may be there
  std::deque<system::OpenFile> open;  // which do not move
};

const char* PackageFinding::Describe() const noexcept {
  switch (fault) {
    case EPackageFault::NONE:
      return "is proven";
    case EPackageFault::MISSING:
      return "is missing";
    case EPackageFault::UNLISTED:
      return "is the plug-in's own library, and no digest of it is listed";
    case EPackageFault::NOT_PLAIN:
      return "is not a plain file";
    case EPackageFault::LEAVES_FOLDER:
      return "is a link that leaves its folder";
    case EPackageFault::UNREADABLE:
      return "cannot be read";
    case EPackageFault::CHANGED:
      return "is not a file that is listed";
    case EPackageFault::PARTLY_COVERED:
      return "is proven in part only, by a range";
    case EPackageFault::EXTRA:
      return "is not listed, in a folder that is closed";
  }
  return "is of an unknown state";
}

PackageVerifier::PackageVerifier(const std::string& folder, const Manifest& manifest,
                                 const std::vector<std::string>& besides)
    : held(std::make_unique<Files>(folder, findings)) {
  for (const ManifestDependency& dependency : manifest.dependencies) held->prove(dependency);
  for (const ManifestFile& file : manifest.files) {
    held->prove(held->folder / pathOf(file.name), {{file.sha256, 0, ExpectedDigest::kAll}});
  }
  held->requireListed(manifest.name);
  if (manifest.closed) held->requireNothingElse(besides);
}

PackageVerifier::~PackageVerifier() = default;

bool PackageVerifier::IsProven() const noexcept {
  return std::ranges::all_of(
      findings, [](const PackageFinding& finding) { return finding.fault == EPackageFault::NONE; });
}

}  // namespace OMB
