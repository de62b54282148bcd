// INNFrontend: what may stand between a host's image and a runner.
#pragma once

#include "ombrel/image/nn_data.h"

namespace OMB {

/// A step that a backend can offer in front of its networks. The OpenVINO backend offers none: its
/// networks carry their own pre-processing.
class INNFrontend {
 public:
  INNFrontend(const INNFrontend&) = default;
  INNFrontend& operator=(const INNFrontend&) noexcept { return *this; }
  virtual ~INNFrontend() {}  // NOLINT: a body of its own, so that it can be found in every binary

  /// Prepares `image` for a network and returns the prepared record, which belongs to the front end
  /// and lives until the next call; null if it can't be prepared.
  [[nodiscard]] virtual NNData* Prepare(const NNData* image) = 0;

  /// True when the front end can prepare images.
  [[nodiscard]] virtual bool IsReady() = 0;

 protected:
  INNFrontend() = default;
};

}  // namespace OMB
