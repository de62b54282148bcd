// Files that were tampered with: the digests of the manifest that is shipped, and the engine's own
// files. What may run a changed library's code runs in a process of its own.
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ombrel/ombrel.h"

#include "plugin_setup.h"
#include "support.h"

namespace OMB {
namespace {

namespace fs = std::filesystem;

constexpr char kName[] = "libtbbmalloc.so.2";
constexpr char kOther[] = "libhwloc.so.15";

class Tampering : public testing::Test {
 protected:
  /// The library of the manifest with its digests, or with those of another.
  Dependency dependency(const char* name, const char* digestsOf) const {
    for (const tool::ManifestDependency& listed : manifest.dependencies) {
      if (listed.name == digestsOf) return tool::makeDependency({name, listed.hashes});
    }
    throw std::runtime_error("not in the manifest");
  }
  static std::string original(const char* name) {
    return test::contentsOf(fs::path(OMBREL_MANIFEST).parent_path() / name);
  }
  int check(const Dependency& tested) const {
    Repository<Dependency> dependencies;
    dependencies.Add(tested);
    return HashChecker().Check(dependencies, folder.path().string());
  }
  /// The code of the test in a process that has loaded nothing; the number of a signal that ended
  /// it.
  int checkInChild(const Dependency& tested) const {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      if (std::freopen("/dev/null", "w", stdout) == nullptr ||
          std::freopen("/dev/null", "w", stderr) == nullptr) {
        _exit(99);
      }
      _exit(-check(tested));
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : -WEXITSTATUS(status);
  }
  /// Puts other bytes into the place of a file, whose old ones stay for who has mapped them.
  void replace(const char* name, const std::string& bytes) const {
    folder.write("new", bytes);
    fs::rename(folder / "new", folder / name);
  }

  const tool::Manifest manifest = tool::loadManifest(OMBREL_MANIFEST);
  test::TemporaryDirectory folder;
};

TEST_F(Tampering, AnotherFileUnderTheName) {
  replace(kName, original(kOther));
  replace(kOther, original(kName));
  for (const char* name : {kName, kOther}) {
    EXPECT_EQ(checkInChild(dependency(name, name)), INTEGRITY_CHECK_FAILED) << "swapped";
  }
  replace(kName, original(kName));
  EXPECT_EQ(checkInChild(dependency(kName, kOther)), INTEGRITY_CHECK_FAILED) << "another's digest";
  EXPECT_EQ(checkInChild(dependency(kName, kName)), PLUGIN_OK);
  // A link counts as what it leads to.
  for (const char* target : {kName, kOther}) {
    const test::TemporaryDirectory elsewhere;
    const std::string file = elsewhere.write("file", original(target));
    fs::remove(folder / kName);
    fs::create_symlink(file, folder / kName);
    EXPECT_EQ(checkInChild(dependency(kName, kName)),
              target == std::string(kName) ? PLUGIN_OK : INTEGRITY_CHECK_FAILED);
  }
  // A library of that name that is in the process already is the one that is used, and tested.
  const test::TemporaryDirectory first;
  const std::string loaded = first.write(kOther, original(kName));
  Library library(loaded);
  ASSERT_TRUE(library.load());
  replace(kOther, original(kOther));
  testing::internal::CaptureStderr();
  EXPECT_EQ(check(dependency(kOther, kOther)), INTEGRITY_CHECK_FAILED);
  EXPECT_NE(testing::internal::GetCapturedStderr().find(loaded), std::string::npos);
}

TEST_F(Tampering, OneByteAtAThousandPlaces) {
  const std::string whole = original(kName);
  const Dependency listed = dependency(kName, kName);
  replace(kName, whole);
  ASSERT_EQ(checkInChild(listed), PLUGIN_OK);
  std::mt19937 random(4711);
  std::map<int, int> inChild;
  const auto changed = [&] {
    std::string bytes = whole;
    char& byte = bytes[random() % bytes.size()];
    byte = static_cast<char>(byte ^ (1 + random() % 255));
    return bytes;
  };
  for (int i = 0; i < 1000; ++i) {
    replace(kName, changed());
    ++inChild[checkInChild(listed)];
  }
  // 127 and signals: the loader ended the process before there was anything to test.
  for (const auto& [code, times] : inChild) std::printf("%d x %d\n", times, code);
  EXPECT_EQ(inChild[PLUGIN_OK] + inChild[SIGALRM], 0);
  EXPECT_GT(inChild[INTEGRITY_CHECK_FAILED], 900);

  replace(kName, whole);
  ASSERT_EQ(check(listed), PLUGIN_OK);
  testing::internal::CaptureStderr();
  int refused = 0;
  for (int i = 0; i < 1000; ++i) {
    replace(kName, changed());
    refused += check(listed) == INTEGRITY_CHECK_FAILED;
  }
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(refused, 1000);
  replace(kName, whole);
  EXPECT_EQ(check(listed), PLUGIN_OK);
}

}  // namespace
}  // namespace OMB
