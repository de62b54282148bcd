// Highway's list of instruction sets, as the kernels are compiled for them.
#pragma once

// Machines without SSE4 are too rare to build for; they take the plain form. On ARM64 NEON is left,
// which every one has: the vectors of SVE have no size that the kernels can count on.
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#include <hwy/targets.h>
