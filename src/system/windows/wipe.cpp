#include "system/wipe.h"

#include "system/windows/windows_calls.h"

namespace OMB::system {

void wipe(void* block, std::size_t size) noexcept {
  SecureZeroMemory(block, size);
}

}  // namespace OMB::system
