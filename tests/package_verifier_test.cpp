// What the verifier says of a package that somebody has been at.
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>

#include <gmock/gmock.h>

#include "ombrel/ombrel.h"

#include "file_digest.h"
#include "library_suffix.h"
#include "support.h"

namespace OMB {

// What a test shows of it.
static void PrintTo(const PackageFinding& finding, std::ostream* stream) {
  *stream << finding.name << " " << finding.Describe();
}

namespace {

using test::digestOf;
using test::pathOf;
using testing::IsEmpty;
using enum EPackageFault;

/// A plug-in, a library beside it and one outside, and a list of devices, all in a closed folder.
struct Package {
  Package() {
    std::filesystem::create_directory(pathOf(place("")));
    // Longer than what is read at once.
    write("plug" SUFFIX, std::string(300000, 'p'));
    write("lib.1", "library");
    write("../host.1", "host");
    write("list.xml", "list");
    manifest = {"plug", ".", "I", "C", "", {}, {{"list.xml", digestOf(place("list.xml"))}}, true};
    for (const char* name : {"plug" SUFFIX, "lib.1", "../host.1"}) {
      const std::string file = place(name);
      const auto size = static_cast<std::uint32_t>(std::filesystem::file_size(pathOf(file)));
      manifest.dependencies.push_back({name, {{{}, 0, 1}, {digestOf(file), 0, size}}});
    }
    manifest.dependencies[2].name = "host.1";
    manifest.dependencies[2].file = "../host.1";
  }

  std::string place(const std::string& name) const { return root / ("package/" + name); }
  void write(const std::string& name, const std::string& text) const {
    root.write("package/" + name, text);
  }
  void remove(const std::string& name) const { std::filesystem::remove_all(pathOf(place(name))); }
  void link(const std::string& target, const std::string& name) const {
    remove(name);
    std::filesystem::create_symlink(pathOf(target), pathOf(place(name)));
  }
  std::vector<PackageFinding> faults() const {
    const PackageVerifier verifier(root / "package", manifest, {"m.json"});
    std::vector<PackageFinding> found = verifier.GetFindings();
    std::erase_if(found, [](const PackageFinding& finding) { return finding.fault == NONE; });
    EXPECT_EQ(verifier.IsProven(), found.empty());
    return found;
  }

  test::TemporaryDirectory root;
  Manifest manifest;
};

using Faults = std::vector<PackageFinding>;

TEST(PackageVerifier, AcceptsWhatIsListed) {
  Package package;
  package.write("m.json", "the manifest itself");
  EXPECT_THAT(package.faults(), IsEmpty());
  EXPECT_EQ(
      PackageVerifier(package.root / "package", package.manifest, {"m.json"}).GetFindings().size(),
      4U);
  // The digest of all of a file that is empty proves that it is.
  package.write("list.xml", "");
  package.manifest.files[0].sha256 = digestOf(package.place("list.xml"));
  EXPECT_THAT(package.faults(), IsEmpty());
}

TEST(PackageVerifier, TellsOfManyLargeFilesEachItsOwn) {
  Package package;
  Faults expected;
  // Enough that other threads help, the largest neither first nor last.
  for (const int i : {0, 1, 2, 3, 4, 5, 6, 7}) {
    const std::string name = "data" + std::to_string(i);
    package.write(name, std::string(static_cast<std::size_t>(i * 3 % 8 + 1) << 19, 'd'));
    package.manifest.files.push_back({name, digestOf(package.place(name))});
    if (i % 3 == 1) expected.push_back({name, CHANGED});
  }
  EXPECT_THAT(package.faults(), IsEmpty());
  for (const PackageFinding& each : expected) package.write(each.name, std::string(1 << 20, 'e'));
  EXPECT_EQ(package.faults(), expected);
}

TEST(PackageVerifier, TellsOfEachFileWhatIsWrong) {
  const std::string plug = "plug" SUFFIX;
  const struct {
    const char* what;
    std::function<void(Package&)> attack;
    Faults expected;
  } cases[] = {
      {"last byte",
       [&](auto& p) { p.write(plug, std::string(299999, 'p') + 'q'); },
       {{plug, CHANGED}}},
      {"longer", [&](auto& p) { p.write("lib.1", "library "); }, {{"lib.1", PARTLY_COVERED}}},
      {"shorter", [&](auto& p) { p.write("lib.1", ""); }, {{"lib.1", CHANGED}}},
      {"swapped",
       [&](auto& p) { p.write("lib.1", "host"), p.write("../host.1", "library"); },
       {{"lib.1", CHANGED}, {"../host.1", CHANGED}}},
      {"list", [&](auto& p) { p.write("list.xml", "list\n"); }, {{"list.xml", CHANGED}}},
      {"missing library", [&](auto& p) { p.remove("lib.1"); }, {{"lib.1", MISSING}}},
      {"missing list", [&](auto& p) { p.remove("list.xml"); }, {{"list.xml", MISSING}}},
      {"missing host", [&](auto& p) { p.remove("../host.1"); }, {{"../host.1", MISSING}}},
      {"missing plug-in", [&](auto& p) { p.remove(plug); }, {{plug, MISSING}, {"plug", MISSING}}},
      {"a folder instead",
       [&](auto& p) { p.remove("lib.1"), std::filesystem::create_directory(p.place("lib.1")); },
       {{"lib.1", NOT_PLAIN}}},
      {"extra",
       [&](auto& p) { p.write("z", ""), p.write("liba" SUFFIX, ""); },
       {{"liba" SUFFIX, EXTRA}, {"z", EXTRA}}},
      {"a name that the loader tries too",
       [&](auto& p) { p.write("lib.1" SUFFIX, "hostile"), p.write("libhost.1", "trap"); },
       {{"lib.1" SUFFIX, CHANGED}, {"libhost.1", CHANGED}}},
      {"a range only",
       [&](auto& p) {
         p.manifest.dependencies[1].hashes = {{digestOf(p.root.write("x", "brar")), 2, 4}};
       },
       {{"lib.1", PARTLY_COVERED}}},
      {"a range behind the end",
       [&](auto& p) { p.manifest.dependencies[1].hashes[1].offset = 1; },
       {{"lib.1", CHANGED}}},
      {"plug-in not listed",
       [&](auto& p) { p.manifest.dependencies.erase(p.manifest.dependencies.begin()); },
       {{plug, UNLISTED}}},
  };
  for (const auto& [what, attack, expected] : cases) {
    SCOPED_TRACE(what);
    Package package;
    attack(package);
    EXPECT_EQ(package.faults(), expected);
  }
}

#if !defined(_WIN32)
TEST(PackageVerifier, FollowsNoLinkOutOfItsFolder) {
  Package package;
  package.write("lib.1.0", "library");
  package.link("lib.1.0", "lib.1");
  EXPECT_THAT(package.faults(), IsEmpty());
  package.remove("lib.1.0");
  package.root.write("lib.1.0", "library");
  package.link("../lib.1.0", "lib.1");
  EXPECT_EQ(package.faults(), (Faults{{"lib.1", LEAVES_FOLDER}}));
  package.link("nowhere", "lib.1");
  EXPECT_EQ(package.faults(), (Faults{{"lib.1", MISSING}}));
  package.link("/dev/null", "lib.1");
  EXPECT_EQ(package.faults(), (Faults{{"lib.1", NOT_PLAIN}}));
}
#endif

TEST(PackageVerifier, LooksAtOthersOnlyInAClosedFolder) {
  Package package;
  package.manifest.closed = false;
  package.write("z", "");
  EXPECT_THAT(package.faults(), IsEmpty());
  package.write("libplug" SUFFIX, "");
  EXPECT_EQ(package.faults(), (Faults{{"libplug" SUFFIX, CHANGED}}));
}

}  // namespace
}  // namespace OMB
