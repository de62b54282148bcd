// The two functions through which a host meets a backend plug-in.
#pragma once

#include "ombrel/model/config.h"
#include "ombrel/model/nn_model.h"

namespace OMB {

/// What a host passes to Create, by value. The pointers stay the host's and are read during Create
/// only.
struct ModelParams {
  /// Base path of the model pair, NUL-terminated, not null. ".xml" and ".bin" are appended to it.
  /// See ModelBuffers for a pair that is not in files.
  const char* path;
  /// The caller's bytes from which the AES key of an encrypted pair is built, or null for a pair
  /// that is stored in the clear.
  unsigned char* key;
  /// Number of bytes at `key`, 16 for an encrypted pair. Not looked at when `key` is null.
  int keySize;
  /// Gives the backend the directory of plugins.xml and the thread count.
  Config config;
};

/// Type of the plug-in's export "Create": loads the model pair and returns a model, never null,
/// which the caller owns. Ask INNModel::IsLoaded: a missing or empty file gives a model that is not
/// loaded, silently; a pair that the engine refuses gives one too, with the engine's text on
/// standard error. Any other exception passes through. Concurrent calls are allowed.
using CreateFunction = INNModel* (*)(ModelParams params);

/// Type of the plug-in's export "Initialize", which the plug-in system calls once after the digests
/// of the dependencies have been proven. It takes and returns nothing.
using InitializeFunction = void (*)();

}  // namespace OMB
