// The platform calls as Windows declares them, without the macros that would rename what is ours.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
// clang-format off
#include <windows.h>  // before bcrypt.h, which lacks its types
#include <bcrypt.h>
#include <stdlib.h>  // _putenv
// clang-format on

#undef CreateFile
#undef DELETE
#undef ERROR
#undef GetMessage
#undef LoadLibrary
#undef far
#undef interface
#undef near

#undef ERROR_MOD_NOT_FOUND  // to have the type of what GetLastError gives
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;

/// What the file names of libraries end in.
inline constexpr wchar_t moduleSuffix[] = L".dll";
