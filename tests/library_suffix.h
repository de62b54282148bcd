// File names of libraries.
#pragma once

/// The end of a library's file name, a literal to stand beside others: "name" SUFFIX. Ours begin
/// with "lib" everywhere, the engine's with ENGINE_PREFIX.
#if defined(_WIN32)
#define SUFFIX ".dll"
#define ENGINE_PREFIX ""
#else
#define SUFFIX ".so"
#define ENGINE_PREFIX "lib"
#endif
