#include "system/random.h"

#include <openssl/rand.h>

namespace OMB::system {

Status fillWithRandom(std::span<unsigned char> bytes) {
  // Of the generator that is apart from the one whose numbers others see: keys come from here, too.
  return RAND_priv_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1 ? kSuccess
                                                                            : kUnsuccessful;
}

}  // namespace OMB::system
