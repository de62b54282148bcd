#include "platform/sealed_bytes.h"

#include <algorithm>
#include <string>

#include "platform/hkdf.h"
#include "system/aes_gcm.h"
#include "system/random.h"

namespace OMB::platform {
namespace {

constexpr std::string_view kMagic = "OMBRELSEALED0001";
constexpr std::size_t kNamed = 16, kSalted = 48;  // where these end

static_assert(kMagic.size() == kNamed && kSalted + sizeof(system::GcmTag) == kSealBytes);

// Of the salt and of the context of this one seal. Empty when the system's cryptography fails.
ByteVector keyOf(std::span<const unsigned char> key, std::span<const unsigned char> seal,
                 std::string_view context) {
  ByteVector derived(32);
  const auto salt = seal.subspan(kNamed, kSalted - kNamed);
  const std::string purpose = "ombrel sealed bytes 1 " + std::string(context);
  const auto status = deriveKey(key, salt, purpose, std::span(derived).first<32>());
  return status < 0 ? ByteVector() : derived;
}

}  // namespace

std::optional<Seal> sealInPlace(std::span<const unsigned char> key, const Belonging& belonging,
                                std::span<unsigned char> bytes) {
  Seal seal;
  std::copy(kMagic.begin(), kMagic.end(), seal.begin());
  if (system::fillWithRandom(std::span(seal).subspan(kNamed, kSalted - kNamed)) < 0) return {};
  const ByteVector derived = keyOf(key, seal, belonging.context);
  system::GcmTag tag;
  if (derived.empty() ||
      system::sealOnce(std::span(derived).first<32>(), belonging.bytes, bytes, tag) < 0) {
    return {};
  }
  std::copy(tag.begin(), tag.end(), seal.begin() + kSalted);
  return seal;
}

bool openInPlace(std::span<const unsigned char> key, const Belonging& belonging,
                 ByteVector& sealed) {
  const auto opened = [&] {
    if (sealed.size() < kSealBytes) return false;
    if (!std::equal(kMagic.begin(), kMagic.end(), sealed.begin())) return false;
    const auto seal = std::span(sealed).first<kSealBytes>();
    const ByteVector derived = keyOf(key, seal, belonging.context);
    system::GcmTag tag;
    std::copy(seal.begin() + kSalted, seal.end(), tag.begin());
    return !derived.empty() && system::openSealed(std::span(derived).first<32>(), belonging.bytes,
                                                  std::span(sealed).subspan(kSealBytes), tag) >= 0;
  };
  if (opened()) return true;
  sealed.clear();
  return false;
}

}  // namespace OMB::platform
