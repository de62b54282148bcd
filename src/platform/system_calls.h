// The platform calls that the framework is written against, on every system.
#pragma once

#if defined(_WIN32)
#include "platform/windows/windows_calls.h"
#else
#include "platform/posix/posix_calls.h"
#endif
