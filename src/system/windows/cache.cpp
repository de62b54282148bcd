#include "system/cache.h"

#include <algorithm>
#include <new>
#include <vector>

#include "system/windows/windows_calls.h"

namespace OMB::system {
namespace {

std::size_t readLastCacheSize() noexcept try {
  DWORD bytes = 0;
  GetLogicalProcessorInformation(nullptr, &bytes);
  std::vector<SYSTEM_LOGICAL_PROCESSOR_INFORMATION> all(bytes / sizeof(all[0]));
  if (all.empty() || GetLogicalProcessorInformation(all.data(), &bytes) == 0) return 0;
  std::size_t last = 0;
  for (const auto& one : all) {
    if (one.Relationship == RelationCache) last = std::max<std::size_t>(last, one.Cache.Size);
  }
  return last;
} catch (const std::bad_alloc&) {
  return 0;
}

}  // namespace

std::size_t lastCacheSize() noexcept {
  static const std::size_t size = readLastCacheSize();
  return size;
}

}  // namespace OMB::system
