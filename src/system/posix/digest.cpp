// Over libcrypto, which has all in one context: a step that it does not know does nothing.
#include "system/digest.h"

#include <new>

#include <openssl/evp.h>

namespace OMB::system {
namespace {

constexpr std::uint32_t kDigest = 32;

}  // namespace

struct Digest::Parts {
  unsigned char value[kDigest];
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{nullptr, EVP_MD_CTX_free};
};

Digest::Digest() noexcept = default;
Digest::~Digest() = default;

Status Digest::open() {
  parts.reset(new (std::nothrow) Parts);
  return parts == nullptr ? kNoMemory : kSuccess;
}

Status Digest::getObjectLength() {
  return kSuccess;
}

bool Digest::allocateObject() {
  parts->context.reset(EVP_MD_CTX_new());
  return parts->context != nullptr;
}

Status Digest::getDigestLength(std::uint32_t& length) {
  length = kDigest;
  return kSuccess;
}

bool Digest::allocateDigest() {
  return true;
}

Status Digest::create() {
  return EVP_DigestInit_ex(parts->context.get(), EVP_sha256(), nullptr) == 1 ? kSuccess
                                                                             : kUnsuccessful;
}

Status Digest::add(const unsigned char* input, std::uint32_t size) {
  return EVP_DigestUpdate(parts->context.get(), input, size) == 1 ? kSuccess : kUnsuccessful;
}

Status Digest::finish() {
  return EVP_DigestFinal_ex(parts->context.get(), parts->value, nullptr) == 1 ? kSuccess
                                                                              : kUnsuccessful;
}

const unsigned char* Digest::value() const noexcept {
  return parts->value;
}

}  // namespace OMB::system
