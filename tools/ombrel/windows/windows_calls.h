// Windows' calls, without the macros min and max.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
// clang-format off
#include <windows.h>  // before the others, which lack its types
#include <bcrypt.h>
// clang-format on
