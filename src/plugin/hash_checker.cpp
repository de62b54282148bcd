#include "ombrel/plugin/hash_checker.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "ombrel/platform/library.h"
#include "ombrel/platform/load_library.h"

#include "platform/console.h"
#include "platform/digestion.h"
#include "platform/library_table.h"
#include "plugin/file_bytes.h"
#include "system/open_file.h"

namespace OMB {
namespace {

// Of a part of the file that lies inside of it. Empty if it could not be computed.
ByteVector digestOf(FileBytes& file, std::uint64_t begin, std::uint64_t end) {
  Crypto::Digestion sha;
  if (!sha.begin()) return {};
  do {
    const std::span<const unsigned char> part = file.part(begin, end);
    if (!sha.add(part.data(), static_cast<std::uint32_t>(part.size()))) return {};
    begin += part.size();
  } while (begin < end);
  return sha.finish();
}

bool matches(FileBytes& file, const HashRange& range) {
  const auto& [digest, offset, length] = range;
  const std::uint64_t end = std::uint64_t{offset} + length;
  constexpr std::uint32_t kLongest = std::numeric_limits<int>::max();
  if (end > file.size() || length > kLongest) return false;

  const ByteVector computed = digestOf(file, offset, end);
  // One that could not be computed proves nothing.
  if (computed.empty() || digest.size() < computed.size()) return false;
  return std::equal(computed.begin(), computed.end(), digest.begin());
}

// Whether the code that the library runs is that of the file, under whatever name that stands now.
bool runs(const std::string& library, const system::OpenFile& file) {
  const auto shared = library_table::instance().find_or_create(library);
  return system::isMappedFrom(shared->handle, file);
}

int checkDependency(const Dependency& dependency, const std::string& directory, FileBytes& bytes) {
  Library library(dependency.GetName());
  const std::vector<HashRange> hashes = dependency.GetHash();
  if (!Utility::LoadLibraryA(directory.c_str(), library)) return DEPENDENCY_LOAD_FAILED;

  const std::string path = library.get_file_name();
  system::OpenFile file(path);
  const auto looks = hashes.size() > 1 ? FileBytes::Looks::kAgain : FileBytes::Looks::kOnce;
  if (!bytes.use(file, looks)) return DEPENDENCY_READ_FAILED;
  bool matched = false;
  for (const HashRange& range : hashes) {
    if (matches(bytes, range)) matched = true;
  }
  bytes.readAll();
  if (matched && runs(dependency.GetName(), file)) return PLUGIN_OK;
  console::printError("Ombrel: Cannot load %s. Integrity check failed.\n", path.c_str());
  return INTEGRITY_CHECK_FAILED;
}

}  // namespace

void IHashChecker::operator delete(IHashChecker* checker, std::destroying_delete_t) noexcept {
  delete static_cast<HashChecker*>(checker);
}

int HashChecker::Check(const Repository<Dependency>& dependencies, std::string directory) const {
  FileBytes bytes;  // whose memory serves all of them
  for (std::int32_t i = 0; i < dependencies.GetCount(); ++i) {
    const int code = checkDependency(dependencies.GetAt(i), directory, bytes);
    if (code != PLUGIN_OK) return code;
  }
  return PLUGIN_OK;
}

IHashChecker* HashCheckerFactory::Create() const {
  return new HashChecker;
}

}  // namespace OMB

void std::default_delete<OMB::IHashChecker>::operator()(OMB::IHashChecker* checker) const noexcept {
#pragma GCC diagnostic push
#if defined(__clang__)
#pragma GCC diagnostic ignored "-Wdelete-abstract-non-virtual-dtor"
#else
#pragma GCC diagnostic ignored "-Wdelete-non-virtual-dtor"
#endif
  // The destroying operator delete ends the whole object; the warning looks at the destructor only.
  delete checker;
#pragma GCC diagnostic pop
}
