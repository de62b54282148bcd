// Bytes that nobody can foresee.
#pragma once

#include <span>

#include "system/status.h"

namespace OMB::system {

Status fillWithRandom(std::span<unsigned char> bytes);

}  // namespace OMB::system
