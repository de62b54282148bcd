// What a backend plug-in defines and exports. For the authors of backends: a host includes
// entry_points.h, and gets the two as function pointers from its Plugin.
#pragma once

#include "ombrel/export.h"
#include "ombrel/model/entry_points.h"

/// Loads a model: a new object, never null, that passes to the caller, who destroys it through the
/// virtual destructor. A failed load gives a model whose IsLoaded is false.
///
/// Called once for each model, by any thread, also by several at the same time, and whether or not
/// Initialize was called. `params` is the backend's own copy, but what its pointers lead to is the
/// host's: read it before returning, keep and change nothing. Exceptions pass to the host, which
/// has no model then; std::bad_alloc is to be expected, and all that means "not loaded" is better
/// told by IsLoaded.
OMBREL_ENTRY OMB::INNModel* Create(OMB::ModelParams params);

/// Prepares what the whole plug-in needs, or does nothing. Called after the digests of the
/// dependencies have been proven: once by a PluginManager for each name, and again by each further
/// manager and each direct Plugin::Load. The manager is locked meanwhile and must not be called.
/// An exception passes through Plugin::Load to the host, and the plug-in does not count as loaded.
OMBREL_ENTRY void Initialize();
