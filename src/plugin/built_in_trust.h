// Whose manifests this build takes.
#pragma once

#include "ombrel/plugin/manifest.h"

namespace OMB {

/// What OMBREL_TRUSTED_KEY and OMBREL_LEAST_COUNTER said when the project was configured; null if
/// no key was given.
const ManifestTrust* builtInTrust() noexcept;

}  // namespace OMB
