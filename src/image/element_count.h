// How many elements a block holds, for allocations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace OMB {

/// Product of three sizes. Throws std::bad_alloc when it is negative or does not fit a signed
/// 32-bit integer, so that no buffer comes out smaller than what its sizes promise.
inline std::size_t elementCount(std::int32_t a, std::int32_t b, std::int32_t c) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  if (c == 0) return 0;
  const std::int64_t area = std::int64_t{a} * b;
  if (area > kMax || area < -kMax) throw std::bad_alloc();
  const std::int64_t count = area * c;
  if (count < 0 || count > kMax) throw std::bad_alloc();
  return static_cast<std::size_t>(count);
}

}  // namespace OMB
