// The digest of a file, as manifests hold it.
#pragma once

#include <algorithm>
#include <string>

#include "ombrel/platform/crypto.h"
#include "ombrel/plugin/manifest.h"

#include "support.h"

namespace OMB::test {

inline Sha256 digestOf(const std::string& file) {
  std::string bytes = contentsOf(file);
  const ByteVector hash = Crypto::hashBuffer(reinterpret_cast<unsigned char*>(bytes.data()),
                                             static_cast<int>(bytes.size()));
  Sha256 result;
  std::copy(hash.begin(), hash.end(), result.begin());
  return result;
}

}  // namespace OMB::test
