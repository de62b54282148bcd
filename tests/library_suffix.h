// File names of libraries.
#pragma once

/// The end of a library's file name, a literal to stand beside others: "name" SUFFIX.
#if defined(_WIN32)
#define SUFFIX ".dll"
#else
#define SUFFIX ".so"
#endif
