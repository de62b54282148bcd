#include "model/tagger.h"

#include <algorithm>

#include "platform/hkdf.h"

namespace OMB {
namespace {

using Nonce = std::array<unsigned char, 12>;

// A salt gives a key of its own, so that a place is all that a nonce has to differ in.
Nonce nonceOf(const TagPlace& place) {
  Nonce nonce{};
  nonce[0] = static_cast<unsigned char>(place.file);
  nonce[1] = place.isLast ? 1 : 0;
  for (std::size_t i = 0; i < sizeof(place.segment); ++i) {
    nonce[4 + i] = static_cast<unsigned char>(place.segment >> (8 * i));
  }
  return nonce;
}

}  // namespace

bool Tagger::open(std::span<const unsigned char> key, const std::array<unsigned char, 32>& salt) {
  ByteVector derived(32);  // the key of the tags, and what may be known
  const auto room = std::span(derived).first<32>();
  if (platform::deriveKey(key, salt, "ombrel model tags 1", room) < 0) return false;
  std::copy_n(derived.begin() + 16, check.size(), check.begin());
  return gmac.open(derived.data()) >= 0;
}

bool Tagger::tag(const TagPlace& place, std::span<const unsigned char> bytes, Tag& tag) {
  const Nonce nonce = nonceOf(place);
  return gmac.authenticate(nonce.data(), bytes.data(), bytes.size(), tag.data()) >= 0;
}

}  // namespace OMB
