// How a conversion writes what does not stay in the caches.
#pragma once

#include <cstddef>

#include "system/cache.h"

namespace OMB::ImageUtils {

enum class Stores {
  kCached,
  kAround,  ///< the caches, in whole lines, where the target lies so that it can be
};

/// A line is read from memory before it is written, unless all of it is written around the caches.
/// That pays where source and target together do not fit, which is where little of the target would
/// be left in the caches for whoever reads it next. An eighth of the last one is for what else
/// runs.
inline Stores storesFor(std::size_t bytes) {
  const std::size_t cache = system::lastCacheSize();
  return cache != 0 && bytes > cache - cache / 8 ? Stores::kAround : Stores::kCached;
}

}  // namespace OMB::ImageUtils
