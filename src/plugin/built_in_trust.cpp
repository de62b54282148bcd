#include "plugin/built_in_trust.h"

#include "build_constants.h"

namespace OMB {

const ManifestTrust* builtInTrust() noexcept {
  static constexpr ManifestTrust kTrust = {trustedKey, leastCounter};
  return hasTrustedKey ? &kTrust : nullptr;
}

}  // namespace OMB
