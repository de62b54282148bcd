// Digests of files beside the command line tools that everybody has: the test of a large library,
// and the proof of the package that is shipped.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "ombrel/platform/crypto.h"
#include "ombrel/platform/file_utils.h"
#include "ombrel/plugin/hash_checker.h"
#include "ombrel/plugin/package_verifier.h"

#include "paired.h"
#include "program.h"

namespace OMB::bench {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kSize = std::size_t{256} << 20;

/// A real library with so much behind its last section that the file has the wanted size.
class LargeLibrary {
 public:
  LargeLibrary() {
    fs::copy_file(OMBREL_SMALL_LIBRARY, path);
    std::ofstream file(path, std::ios::binary | std::ios::app);
    std::minstd_rand random(1);
    std::string block(std::size_t{1} << 20, '\0');
    for (char& byte : block) byte = static_cast<char>(random());
    for (std::size_t left = kSize - fs::file_size(path); left > 0;) {
      const std::size_t part = std::min(left, block.size());
      file.write(block.data(), static_cast<std::streamsize>(part));
      left -= part;
    }
  }
  ~LargeLibrary() { fs::remove(path); }

  const fs::path path =
      fs::temp_directory_path() / ("ombrel-bench-" + std::to_string(getpid()) + ".so");
};

Repository<Dependency> dependencyOn(const fs::path& file) {
  ByteVector bytes(kSize);
  Utility::readAllFile(file.string(), bytes.data(), bytes.size());
  Repository<Dependency> list;
  list.Add(Dependency(file.c_str(), {{Crypto::hashBuffer(bytes.data(), kSize), 0, kSize}}));
  return list;
}

void registerCheck(const LargeLibrary& library) {
  const auto measure = [&library](benchmark::State& state) {
    const Repository<Dependency> list = dependencyOn(library.path);
    const std::string command = "openssl dgst -sha256 " + library.path.string() + " >/dev/null";
    measurePair(
        state,
        [&] {
          if (HashChecker().Check(list, ".") != PLUGIN_OK)
            throw std::runtime_error("the library was refused");
        },
        [&] {
          if (std::system(command.c_str()) != 0) throw std::runtime_error("openssl failed");
        });
  };
  benchmark::RegisterBenchmark("check/256MiB_library/openssl_dgst", measure)
      ->UseManualTime()
      ->Iterations(25);
}

/// The same files, whose names the shell is to take as they are.
std::string filesOf(const std::string& folder, const Manifest& manifest) {
  std::string names;
  const auto add = [&](const std::string& file) {
    names.append(" '").append(folder).append("/").append(file).append("'");
  };
  for (const ManifestDependency& dependency : manifest.dependencies) {
    add(dependency.file.empty() ? dependency.name : dependency.file);
  }
  for (const ManifestFile& file : manifest.files) add(file.name);
  return names;
}

void registerProof(const std::string& peer, const std::string& command) {
  const auto measure = [command](benchmark::State& state) {
    const Manifest manifest = readManifest(OMBREL_MANIFEST);
    const std::string folder = pluginFolder(OMBREL_MANIFEST, manifest);
    const std::string line = command + filesOf(folder, manifest) + " >/dev/null";
    measurePair(
        state,
        [&] {
          if (!PackageVerifier(folder, manifest, {"openvino.json"}).IsProven())
            throw std::runtime_error("the package was refused");
        },
        [&] {
          if (std::system(line.c_str()) != 0) throw std::runtime_error(command + " failed");
        });
  };
  benchmark::RegisterBenchmark(("verify/package/" + peer).c_str(), measure)
      ->UseManualTime()
      ->Iterations(25);
}

int main(Arguments arguments) {
  const LargeLibrary library;
  registerCheck(library);
  registerProof("sha256sum", "sha256sum");
  registerProof("openssl_dgst", "openssl dgst -sha256");
  return runBenchmarks(std::move(arguments));
}

}  // namespace
}  // namespace OMB::bench

int main(int count, char** arguments) {
  return OMB::bench::guarded(count, arguments, OMB::bench::main);
}
