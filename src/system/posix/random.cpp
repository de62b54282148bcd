#include "system/random.h"

#include <openssl/rand.h>

namespace OMB::system {

Status fillWithRandom(std::span<unsigned char> bytes) {
  return RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1 ? kSuccess : kUnsuccessful;
}

}  // namespace OMB::system
