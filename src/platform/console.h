// The messages of the system, on the standard streams.
#pragma once

#include <cstdio>

#if defined(__GNUC__)
#define OMBREL_PRINTF_FORMAT __attribute__((format(printf, 1, 2)))
#else
#define OMBREL_PRINTF_FORMAT
#endif

/// Formatted printing to the standard streams. Narrow and wide messages share one stream in any
/// order, and a stream that the host has made wide is printed to all the same. Texts are UTF-8.
/// Safe on any thread.
namespace OMB::console {

OMBREL_PRINTF_FORMAT void printOut(const char* format, ...);
OMBREL_PRINTF_FORMAT void printError(const char* format, ...);
void printOut(const wchar_t* format, ...);

}  // namespace OMB::console
