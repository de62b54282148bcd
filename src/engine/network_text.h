// What the text of a network tells, and the engine's C interface does not.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace InferenceEngine {

/// In the order of the text, which is the engine's too.
struct NetworkText {
  struct Input {
    std::string name;    ///< of the parameter
    std::string layout;  ///< as it is declared; empty where it is not
  };
  std::vector<Input> inputs;
  /// An output has the name of the layer that feeds it, with the port's position behind where that
  /// layer has several.
  std::vector<std::string> outputs;
};

/// Raises GeneralError for a text that does not start as XML does, that has another root than
/// "net", that nests bodies more than 64 deep, or that has no input or no output. What is wrong
/// with it behind its start the engine tells better. No copy of the text outlives the call unwiped.
NetworkText readNetworkText(std::string_view text);

}  // namespace InferenceEngine
