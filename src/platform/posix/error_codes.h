// The error codes that this layer raises, with the numbers and meanings that Windows documents for
// them.
#pragma once

#include "platform/posix/posix_calls.h"

namespace OMB::posix {

inline constexpr DWORD accessDenied = 5;       ///< a folder, or a file that may not be read
inline constexpr DWORD invalidHandle = 6;      ///< not a module that LoadLibraryW gave
inline constexpr DWORD notEnoughMemory = 8;    ///< there is no memory for what was asked
inline constexpr DWORD invalidParameter = 87;  ///< an argument outside what a call takes
inline constexpr DWORD bufferTooSmall = 122;   ///< the result does not fit
inline constexpr DWORD symbolNotFound = 127;   ///< the module does not export the symbol
inline constexpr DWORD notALibrary = 193;      ///< no library of this machine, or one cut short
inline constexpr DWORD messageNotFound = 317;  ///< there is no text for the code
inline constexpr DWORD loadFailed = 1114;      ///< the library is sound but does not load
inline constexpr DWORD neededNotFound = 1157;  ///< a library that the library needs is not there

}  // namespace OMB::posix
