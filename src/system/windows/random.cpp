#include "system/random.h"

#include "system/windows/cng.h"

namespace OMB::system {

Status fillWithRandom(std::span<unsigned char> bytes) {
  return BCryptGenRandom(nullptr, bytes.data(), static_cast<ULONG>(bytes.size()),
                         BCRYPT_USE_SYSTEM_PREFERRED_RNG);
}

}  // namespace OMB::system
