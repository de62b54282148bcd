// INNSiblings: further runners without a further compilation.
#pragma once

#include "ombrel/export.h"
#include "ombrel/model/nn_runner.h"

namespace OMB {

/// What a runner may offer besides INNRunner. A host asks for it by dynamic_cast from the
/// INNRunner*, and gets null from a backend that does not have it. It lives and ends with the
/// runner.
class OMBREL_API INNSiblings {
 public:
  virtual ~INNSiblings();

  /// A new runner over the network that this one was compiled from, never null, which the caller
  /// owns. It shares the compiled network and its weights, which end with the last of the siblings,
  /// and has inputs and outputs of its own. Any of them may be destroyed first. A runner that could
  /// not be made, such as one of a runner that is not ready, says so by INNRunner::IsReady. Throws
  /// std::bad_alloc when there is no memory for the object itself.
  ///
  /// Threads: any thread at any time, also while this runner or a sibling runs. Siblings may run at
  /// the same time, but the engine lets one wait for the other: they save memory and the time of
  /// compiling. For results at the same time take runners of INNModel::CreateRunner.
  [[nodiscard]] virtual INNRunner* CreateSibling() = 0;
};

}  // namespace OMB
