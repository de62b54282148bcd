// The digest test on any file, with hostile ranges and digests.
#include <vector>

#include "ombrel/platform/crypto.h"
#include "ombrel/plugin/hash_checker.h"

#include "fuzz_input.h"
#include "loader_script.h"
#include "platform/text.h"

namespace OMB {
namespace {

/// An alternative, and whether the file matches it.
bool addRange(fuzz::Input& input, ByteVector& file, std::vector<HashRange>& hashes) {
  const auto kind = input.take<std::uint8_t>();
  // Near the edges of the file more often than chance would have it.
  const auto size = static_cast<std::uint32_t>(file.size());
  const auto offset = kind & 1 ? input.take<std::uint32_t>() : input.take<std::uint8_t>();
  const auto length = kind & 2 ? input.take<std::uint32_t>() : size - offset;
  const bool inside = std::uint64_t{offset} + length <= size;
  ByteVector right;
  if (inside) right = Crypto::hashBuffer(file.data() + offset, static_cast<int>(length));
  ByteVector digest = kind & 4 ? right : input.bytes(32);
  digest.resize(
      static_cast<std::size_t>(std::max(0, static_cast<int>(digest.size()) + (kind >> 4) - 8)));
  const bool matches =
      inside && digest.size() >= 32 && std::equal(right.begin(), right.end(), digest.begin());
  hashes.emplace_back(digest, offset, length);
  return matches;
}

void run(fuzz::Input input) {
  static const fuzz::MemoryFile disk;
  const auto ranges = input.take<std::uint8_t>() % 5;
  ByteVector file = input.bytes(std::min<std::size_t>(input.take<std::uint16_t>(), 4096));
  disk.write(file.data(), file.size());
  loaderScript() = {.results = {{L"any.so", 0}}, .modulePath = to_wide(disk.path())};

  std::vector<HashRange> hashes;
  bool matched = false;
  for (int i = 0; i < ranges; ++i) matched |= addRange(input, file, hashes);
  Repository<Dependency> dependencies;
  dependencies.Add(Dependency("any", hashes));
  const int wanted = file.empty() ? DEPENDENCY_READ_FAILED
                     : matched    ? PLUGIN_OK
                                  : INTEGRITY_CHECK_FAILED;
  REQUIRE(HashChecker().Check(dependencies, "somewhere") == wanted);
}

}  // namespace
}  // namespace OMB

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  OMB::run({data, size});
  return 0;
}
