// An engine that does what a test tells it, linked in place of the one over OpenVINO. Its networks
// have an input "x" and an output "y" of three floats, which are twice the input.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "engine/inference_engine.h"

struct EngineScript {
  /// A call and which use of it fails, counted from 1, as in "GetBlob 2".
  std::string failing = {};
  /// What the call that fails does: it throws.
  std::function<void()> failure = {};
  /// LoadNetwork gives an executable network that is empty.
  bool emptyExecutable = false;

  /// Uses of each call so far, and what the last ones were given.
  std::map<std::string, int> uses = {};
  std::string text = {}, weights = {};
};

EngineScript& engineScript();
