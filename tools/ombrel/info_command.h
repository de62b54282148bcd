// ombrel info: what a network takes and gives.
#pragma once

#include "exit_codes.h"
#include "model_session.h"

namespace OMB::tool {

struct InfoOptions {
  ModelOptions model;
  bool json = false;
};

/// Loads the model and prints its inputs and outputs, as text or as JSON. The key is gone from the
/// options then.
ExitCode infoCommand(InfoOptions& options);

}  // namespace OMB::tool
