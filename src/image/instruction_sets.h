// Highway's list of instruction sets, as the kernels are compiled for them.
#pragma once

// Machines without SSE4 are too rare to build for; they take the plain form.
#define HWY_DISABLED_TARGETS HWY_SSSE3
#include <hwy/targets.h>
