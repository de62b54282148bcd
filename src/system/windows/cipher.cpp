#include "system/cipher.h"

#include <cstring>
#include <new>

#include "system/windows/cng.h"

namespace OMB::system {

// The order matters: members end from last to first.
struct Cipher::Parts {
  HeapBlock iv;
  HeapBlock object;
  Handle<destroyKey> key;
  Provider provider;
  ULONG objectLength = 0;
  ULONG blockLength = 0;
};

Cipher::Cipher() noexcept = default;
Cipher::~Cipher() = default;

Status Cipher::open() {
  parts.reset(new (std::nothrow) Parts);
  if (parts == nullptr) return kNoMemory;
  return BCryptOpenAlgorithmProvider(parts->provider.out(), L"AES", nullptr, 0);
}

Status Cipher::getObjectLength() {
  return getProperty(parts->provider, L"ObjectLength", parts->objectLength);
}

bool Cipher::allocateObject() {
  return parts->object.allocate(parts->objectLength);
}

Status Cipher::getBlockLength(std::uint32_t& length) {
  const Status status = getProperty(parts->provider, L"BlockLength", parts->blockLength);
  length = parts->blockLength;
  return status;
}

bool Cipher::copyIv(const unsigned char* iv) {
  if (!parts->iv.allocate(parts->blockLength)) return false;
  std::memcpy(parts->iv.data(), iv, parts->blockLength);
  return true;
}

Status Cipher::setChainingMode() {
  wchar_t mode[] = L"ChainingModeCBC";
  return BCryptSetProperty(parts->provider.get(), L"ChainingMode", reinterpret_cast<PUCHAR>(mode),
                           sizeof(mode), 0);
}

Status Cipher::generateKey(const unsigned char* key, std::uint32_t size) {
  return BCryptGenerateSymmetricKey(parts->provider.get(), parts->key.out(), parts->object.data(),
                                    parts->object.size(), writable(key), size, 0);
}

Status Cipher::decrypt(const unsigned char* input, std::uint32_t size, unsigned char* output,
                       std::uint32_t outputSize, std::uint32_t& resultSize) {
  ULONG result = 0;
  const Status status =
      BCryptDecrypt(parts->key.get(), writable(input), size, nullptr, parts->iv.data(),
                    parts->iv.size(), output, outputSize, &result, 0);
  resultSize = result;
  return status;
}

}  // namespace OMB::system
