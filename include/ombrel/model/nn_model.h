// INNModel: a network that a backend has loaded.
#pragma once

#include "ombrel/image/data_types.h"
#include "ombrel/model/nn_runner.h"

namespace OMB {

/// A model comes from the backend's Create and belongs to the caller, who destroys it through the
/// virtual destructor. Whether it loaded is settled before Create returns, and never changes.
///
/// Threads: a loaded model is only read.
class INNModel {
 public:
  virtual ~INNModel() = default;

  /// A new runner over this model's network, never null, which the caller owns. A runner that could
  /// not be prepared, such as one of a model that did not load, says so by INNRunner::IsReady. Each
  /// runner pays for a compilation of the network. Throws std::bad_alloc when there is no memory
  /// for the object itself.
  [[nodiscard]] virtual INNRunner* CreateRunner() = 0;

  /// True when the load succeeded. A host has to ask: a failed load yields a model too.
  [[nodiscard]] virtual bool IsLoaded() = 0;

  /// Number of elements of the network's first output, multiplied in 32 bits; the first by name, of
  /// batch size 1. Ask only a model that is loaded.
  virtual int GetOutputSize() = 0;

  /// Element type in which the backend's networks take their input and give their output.
  virtual EDataType GetDataType() = 0;

  /// Memory order in which the backend's networks take their input.
  virtual ImageUtils::ELayoutType GetLayout() = 0;
};

}  // namespace OMB
