#include "system/digest.h"

#include <new>

#include "system/windows/cng.h"

namespace OMB::system {

// The order matters: members end from last to first.
struct Digest::Parts {
  HeapBlock digest;
  HeapBlock object;
  Handle<destroyHash> hash;
  Provider provider;
  ULONG objectLength = 0;
  ULONG digestLength = 0;
};

Digest::Digest() noexcept = default;
Digest::~Digest() = default;

Status Digest::open() {
  parts.reset(new (std::nothrow) Parts);
  if (parts == nullptr) return kNoMemory;
  return BCryptOpenAlgorithmProvider(parts->provider.out(), L"SHA256", nullptr, 0);
}

Status Digest::getObjectLength() {
  return getProperty(parts->provider, L"ObjectLength", parts->objectLength);
}

bool Digest::allocateObject() {
  return parts->object.allocate(parts->objectLength);
}

Status Digest::getDigestLength(std::uint32_t& length) {
  const Status status = getProperty(parts->provider, L"HashDigestLength", parts->digestLength);
  length = parts->digestLength;
  return status;
}

bool Digest::allocateDigest() {
  return parts->digest.allocate(parts->digestLength);
}

Status Digest::create() {
  return BCryptCreateHash(parts->provider.get(), parts->hash.out(), parts->object.data(),
                          parts->object.size(), nullptr, 0, 0);
}

Status Digest::add(const unsigned char* input, std::uint32_t size) {
  return BCryptHashData(parts->hash.get(), writable(input), size, 0);
}

Status Digest::finish() {
  return BCryptFinishHash(parts->hash.get(), parts->digest.data(), parts->digest.size(), 0);
}

const unsigned char* Digest::value() const noexcept {
  return parts->digest.data();
}

}  // namespace OMB::system
