// The digest test on any file, with hostile ranges and digests.
#include "ombrel/platform/crypto.h"
#include "ombrel/plugin/hash_checker.h"

#include "fuzz_input.h"
#include "loader_script.h"

void OMB::fuzz::run(Input input) {
  const int ranges = input.take<std::uint8_t>() % 5;
  ByteVector file = input.bytes(input.take<std::uint16_t>() % 4096);
  const auto size = static_cast<std::uint32_t>(file.size());
  std::vector<HashRange> hashes;
  bool matched = false;
  for (int i = 0; i < ranges; ++i) {
    // Near the edges of the file, right and of about the right length more often than by chance.
    const auto kind = input.take<std::uint8_t>();
    const auto offset = kind & 1 ? input.take<std::uint32_t>() : input.take<std::uint8_t>();
    const auto length = kind & 2 ? input.take<std::uint32_t>() : size - offset;
    const bool inside = std::uint64_t{offset} + length <= size;
    ByteVector right;
    if (inside) right = Crypto::hashBuffer(file.data() + offset, static_cast<int>(length));
    ByteVector digest = kind & 4 ? right : input.bytes(32);
    digest.resize(std::max<std::size_t>(digest.size() + (kind >> 4), 8) - 8);
    matched |=
        inside && digest.size() >= 32 && std::equal(right.begin(), right.end(), digest.begin());
    hashes.emplace_back(digest, offset, length);
  }
  loaderScript() = {.results = {{"any.so", 0}}, .modulePath = fileOf(file)};
  Repository<Dependency> dependencies;
  dependencies.Add(Dependency("any", hashes));
  REQUIRE(HashChecker().Check(dependencies, "somewhere") == (file.empty() ? DEPENDENCY_READ_FAILED
                                                             : matched    ? PLUGIN_OK
                                                                       : INTEGRITY_CHECK_FAILED));
}
