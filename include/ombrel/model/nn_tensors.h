// INNTensors: every input and output of a runner, by name.
#pragma once

#include "ombrel/export.h"
#include "ombrel/model/nn_tensor.h"

namespace OMB {

/// What a runner may offer besides INNRunner, for networks of several inputs or outputs. A host
/// asks for it by dynamic_cast from the INNRunner*, and gets null from a backend that does not have
/// it. It lives and ends with the runner.
///
/// Run converts its image into the first input only. A host fills the others before, each in the
/// type and shape of its NNTensor; what it wrote stays there until it writes again. After a Run all
/// outputs are complete.
///
/// Threads: as INNRunner::Run, and never at the same time as one of the same runner.
class OMBREL_API INNTensors {
 public:
  virtual ~INNTensors();

  /// The memory of the input that has the name (NUL-terminated, not null; see INNDescription). It
  /// belongs to the runner, and has the same address for the runner's life. `data` is null where
  /// there is no such input, and in a runner that is not ready. Exceptions of the engine pass.
  [[nodiscard]] virtual NNTensor GetInput(const char* name) = 0;

  /// The same of an output. Its contents are those of the last Run, and undefined before the first
  /// and after one that threw. Where INNDescription has a dimension that is not settled, shape,
  /// size and address are those of the last Run and end with the next one; else they stay.
  [[nodiscard]] virtual NNTensor GetOutput(const char* name) = 0;
};

}  // namespace OMB
