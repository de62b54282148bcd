#include "ombrel/plugin/package_verifier.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "plugin/path_text.h"
#include "plugin/proven_files.h"
#include "plugin/proven_plugin.h"
#include "system/module.h"
#include "system/rights.h"

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

// By its suffix, which versions may follow.
bool isLibraryName(const std::string& name) {
  const std::string_view suffix = system::kModuleSuffix;
  const std::size_t at = name.rfind(suffix);
  return at != std::string::npos &&
         (at + suffix.size() == name.size() || name[at + suffix.size()] == '.');
}

// What is found on a walk over a package.
class Survey {
 public:
  Survey(const std::string& root, std::vector<PackageFinding>& faults,
         std::vector<PackageFinding>& doubts)
      : files(std::make_shared<ProvenFiles>(fs::absolute(pathOf(root)).lexically_normal())),
        folder(files->folder),
        findings(faults),
        warnings(doubts) {}

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
    for (const fs::path& place : places) prove(place, dependency.name, digestsOf(dependency));
  }

  void prove(const ManifestFile& file) {
    prove(folder / pathOf(file.name), {}, {{file.sha256, 0, ExpectedDigest::kAll}});
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

  void lookForOthers(bool closed, const std::vector<std::string>& besides) {
    for (const std::string& name : besides) known.insert(folder / pathOf(name));
    std::set<std::string> extras;  // in an order that does not change
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
      if (!known.contains(entry->path())) extras.insert(textOf(entry->path().filename()));
    }
    for (const std::string& name : extras) {
      if (closed) findings.push_back({name, EPackageFault::EXTRA});
      if (!closed && isLibraryName(name)) warnings.push_back({name, EPackageFault::EXTRA_LIBRARY});
    }
    if (failed) findings.push_back({textOf(folder), EPackageFault::UNREADABLE});
  }

  // Each file, the folders that they lie in, and those above.
  void lookForRights() {
    std::set<fs::path> places = {folder, canonical(folder)};
    for (const fs::path& place : known) {
      const fs::path file = canonical(place);
      if (file.empty()) continue;  // nothing is there
      if (system::mayOthersWrite(textOf(file))) doubt(place);
      places.insert({place.parent_path(), file.parent_path()});
    }
    std::set<fs::path> above;
    for (const fs::path& place : places) {
      if (system::mayOthersWrite(textOf(place))) doubt(place);
      for (fs::path next = place; next != next.parent_path();) {
        next = next.parent_path();
        if (!places.contains(next)) above.insert(next);
      }
    }
    for (const fs::path& place : above) {
      if (system::mayOthersReplaceIn(textOf(place))) doubt(place);
    }
  }

  // Reads what is there, once all that is listed is known.
  void readFiles() {
    const std::vector<Covered> parts = files->prove(std::move(claims));
    for (std::size_t i = 0; i < parts.size(); ++i) findings[claimed[i]].fault = faultOf(parts[i]);
  }

  const std::shared_ptr<ProvenFiles> files;

 private:
  // Without links on the way; empty if nothing is there.
  static fs::path canonical(const fs::path& place) {
    std::error_code none;
    return fs::canonical(place, none);
  }

  // One place, and what it leads to if it is a link.
  void prove(const fs::path& place, const std::string& library,
             const std::vector<ExpectedDigest>& digests) {
    known.insert(place);
    known.insert(place.parent_path() / canonical(place).filename());
    const EPackageFault fault = faultAt(place);
    if (fault == EPackageFault::NONE) {
      claims.push_back({place, library, digests});
      claimed.push_back(findings.size());
    }
    findings.push_back({nameOf(place), fault});
  }

  static EPackageFault faultAt(const fs::path& place) {
    std::error_code none;
    const fs::file_status status = fs::status(place, none);
    if (!fs::exists(status)) return EPackageFault::MISSING;
    if (!fs::is_regular_file(status)) return EPackageFault::NOT_PLAIN;
    return leavesFolder(place) ? EPackageFault::LEAVES_FOLDER : EPackageFault::NONE;
  }

  void doubt(const fs::path& place) {
    const bool isInFolder = place.parent_path() == folder;
    warnings.push_back({isInFolder ? nameOf(place) : textOf(place), EPackageFault::OPEN_TO_OTHERS});
  }

  // With the manifest's separators.
  std::string nameOf(const fs::path& place) const {
    const fs::path name = place.lexically_relative(folder).generic_u8string();
    return textOf(name);
  }

  const fs::path& folder;
  std::vector<PackageFinding>& findings;
  std::vector<PackageFinding>& warnings;
  std::set<fs::path> known;  // places that were looked at, or may be there
  std::vector<ClaimedFile> claims;
  std::vector<std::size_t> claimed;  // their places in the findings
};

}  // namespace

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
    case EPackageFault::EXTRA_LIBRARY:
      return "is not listed, and a loader could take it for a library of the package";
    case EPackageFault::OPEN_TO_OTHERS:
      return "may be changed or exchanged by other users";
  }
  return "is of an unknown state";
}

PackageVerifier::PackageVerifier(const std::string& folder, const Manifest& listed,
                                 const std::vector<std::string>& besides)
    : manifest(listed) {
  Survey survey(folder, findings, warnings);
  for (const ManifestDependency& dependency : manifest.dependencies) survey.prove(dependency);
  for (const ManifestFile& file : manifest.files) survey.prove(file);
  survey.readFiles();
  survey.requireListed(manifest.name);
  survey.lookForOthers(manifest.closed, besides);
  survey.lookForRights();
  proven = survey.files;
}

PackageVerifier::~PackageVerifier() = default;

std::unique_ptr<DynamicPlugin> PackageVerifier::MakePlugin() const {
  return std::make_unique<ProvenPlugin>(manifest, IsProven() ? proven : nullptr);
}

bool PackageVerifier::IsProven() const noexcept {
  return std::ranges::all_of(
      findings, [](const PackageFinding& finding) { return finding.fault == EPackageFault::NONE; });
}

}  // namespace OMB
