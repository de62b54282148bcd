// AES-GMAC: tags of 16 bytes over bytes that stay as they are.
#pragma once

#include <cstddef>
#include <memory>

#include "system/status.h"

namespace OMB::system {

/// The tags that one key of 16 bytes gives. What was made ends with the object.
class Gmac {
 public:
  Gmac() noexcept;
  ~Gmac();
  Gmac(const Gmac&) = delete;
  Gmac& operator=(const Gmac&) = delete;

  /// Called once, and before the other one.
  Status open(const unsigned char* key);

  /// Writes the tag of less than 2 GiB. Whoever writes tags for others to see never takes one nonce
  /// of 12 bytes twice under a key: two tags of one would give the key of the sums away.
  Status authenticate(const unsigned char* nonce, const unsigned char* bytes, std::size_t size,
                      unsigned char* tag);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts;
};

}  // namespace OMB::system
