// Platform calls that a test defines itself, in place of the platform's.
#pragma once

#include "platform/system_calls.h"

/// Begins the definition of a call that the platform gets from a DLL of its own:
/// SCRIPTED_CALL(BOOL, FreeLibrary, (HMODULE module)) { ... }
/// On Windows callers go through a pointer that the linker would else take from the import library.
/// The cryptography calls are not declared that way, and are defined as they are.
#if defined(_WIN32)
#define SCRIPTED_CALL(Result, name, parameters)      \
  static Result scripted##name parameters;           \
  extern "C" {                                       \
  Result(*__imp_##name) parameters = scripted##name; \
  }                                                  \
  static Result scripted##name parameters
#else
#define SCRIPTED_CALL(Result, name, parameters) Result name parameters
#endif
