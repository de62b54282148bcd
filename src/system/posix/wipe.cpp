#include "system/wipe.h"

#include <string.h>

namespace OMB::system {

void wipe(void* block, std::size_t size) noexcept {
  explicit_bzero(block, size);
}

}  // namespace OMB::system
