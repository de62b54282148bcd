// INNRunner: runs a network on one image at a time.
#pragma once

#include "ombrel/image/nn_data.h"

namespace OMB {

/// A runner comes from INNModel::CreateRunner and belongs to the caller, who destroys it through
/// the virtual destructor. It keeps nothing of its model, which may be destroyed first.
///
/// Threads: one runner serves one Run at a time. Different runners may run at the same time.
class INNRunner {
 public:
  INNRunner() = default;
  INNRunner(const INNRunner&) = default;
  INNRunner& operator=(const INNRunner&) noexcept { return *this; }
  virtual ~INNRunner() = default;

  /// Runs the network on `data`, which must not be null and is only read. The image is converted
  /// into the input memory, unless its buffer is the input memory itself. The channel, width and
  /// height of the image are those of the network's input: a runner has no way to resize.
  ///
  /// Returns the address of the output, FP32 elements that belong to the runner, live as long as it
  /// does and are overwritten by the next Run; INNModel::GetOutputSize gives their number. Returns
  /// null if the runner is not ready, or if the image would have to be converted and has more
  /// elements than the input memory. Blocks until the network has run. Exceptions of the engine
  /// pass through, and the runner can be used again after one.
  [[nodiscard]] virtual void* Run(NNData* data) = 0;

  /// True when the runner can run. Settled at construction.
  [[nodiscard]] virtual bool IsReady() = 0;

  /// The memory that the network reads its input from: FP32 elements in CHW order, the same address
  /// at every call for the life of the runner, to which it belongs. Ask only a runner that is
  /// ready.
  virtual void* GetInputBuffer() = 0;
};

}  // namespace OMB
