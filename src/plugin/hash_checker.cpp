#include "ombrel/plugin/hash_checker.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "ombrel/platform/crypto.h"
#include "ombrel/platform/file_utils.h"
#include "ombrel/platform/library.h"
#include "ombrel/platform/load_library.h"

#include "platform/console.h"
#include "platform/text.h"

namespace OMB {
namespace {

bool matches(ByteVector& file, const HashRange& range) {
  const auto& [digest, offset, length] = range;
  const std::uint64_t end = std::uint64_t{offset} + length;
  constexpr std::uint32_t longest = std::numeric_limits<int>::max();
  if (end > file.size() || length > longest) return false;

  const ByteVector computed = Crypto::hashBuffer(file.data() + offset, static_cast<int>(length));
  // Empty if it could not be computed, and then it proves nothing.
  if (computed.empty() || digest.size() < computed.size()) return false;
  return std::equal(computed.begin(), computed.end(), digest.begin());
}

int checkDependency(const Dependency& dependency, const std::string& directory) {
  Library library(dependency.GetName());
  const std::vector<HashRange> hashes = dependency.GetHash();
  if (!Utility::LoadLibraryA(directory.c_str(), library)) return DEPENDENCY_LOAD_FAILED;

  // The file that the loader mapped, wherever it found it.
  const std::wstring path = to_wide(library.get_file_name());
  const std::int64_t size = Utility::fileSize(path.c_str());
  if (size <= 0) return DEPENDENCY_READ_FAILED;
  ByteVector file(static_cast<std::uint64_t>(size));
  Utility::readAllFile(path, file.data(), file.size());

  bool matched = false;
  for (const HashRange& range : hashes) {
    if (matches(file, range)) matched = true;
  }
  if (matched) return PLUGIN_OK;
  console::printError("Ombrel: Cannot load %s. Integrity check failed.\n",
                      library.get_file_name().c_str());
  return INTEGRITY_CHECK_FAILED;
}

}  // namespace

void IHashChecker::operator delete(IHashChecker* checker, std::destroying_delete_t) noexcept {
  delete static_cast<HashChecker*>(checker);
}

int HashChecker::Check(const Repository<Dependency>& dependencies, std::string directory) const {
  for (std::int32_t i = 0; i < dependencies.GetCount(); ++i) {
    const int code = checkDependency(dependencies.GetAt(i), directory);
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
