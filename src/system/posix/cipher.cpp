// Over libcrypto, which has all in one context: a step that it does not know does nothing.
#include "system/cipher.h"

#include <algorithm>
#include <cstring>
#include <new>

#include <openssl/evp.h>

namespace OMB::system {
namespace {

constexpr std::uint32_t kBlock = 16;

const EVP_CIPHER* cipherOf(std::uint32_t keySize) {
  switch (keySize) {
    case 16:
      return EVP_aes_128_cbc();
    case 24:
      return EVP_aes_192_cbc();
    case 32:
      return EVP_aes_256_cbc();
    default:
      return nullptr;
  }
}

}  // namespace

struct Cipher::Parts {
  unsigned char iv[kBlock];
  std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context{nullptr,
                                                                          EVP_CIPHER_CTX_free};
};

Cipher::Cipher() noexcept = default;
Cipher::~Cipher() = default;

Status Cipher::open() {
  parts.reset(new (std::nothrow) Parts);
  return parts == nullptr ? kNoMemory : kSuccess;
}

Status Cipher::getObjectLength() {
  return kSuccess;
}

bool Cipher::allocateObject() {
  parts->context.reset(EVP_CIPHER_CTX_new());
  return parts->context != nullptr;
}

Status Cipher::getBlockLength(std::uint32_t& length) {
  length = kBlock;
  return kSuccess;
}

bool Cipher::copyIv(const unsigned char* iv) {
  std::memcpy(parts->iv, iv, kBlock);
  return true;
}

Status Cipher::setChainingMode() {
  return kSuccess;
}

Status Cipher::generateKey(const unsigned char* key, std::uint32_t size) {
  const EVP_CIPHER* cipher = cipherOf(size);
  if (cipher == nullptr) return kInvalidParameter;
  const bool made =
      EVP_DecryptInit_ex(parts->context.get(), cipher, nullptr, key, parts->iv) == 1 &&
      EVP_CIPHER_CTX_set_padding(parts->context.get(), 0) == 1;
  return made ? kSuccess : kUnsuccessful;
}

Status Cipher::decrypt(const unsigned char* input, std::uint32_t size, unsigned char* output,
                       std::uint32_t /*outputSize*/, std::uint32_t& resultSize) {
  if (size % kBlock != 0) return kInvalidBufferSize;
  resultSize = size;
  if (output == nullptr) return kSuccess;
  constexpr std::uint32_t kMostAtOnce = std::uint32_t{1} << 30;  // the library counts in int
  while (size > 0) {
    const std::uint32_t part = std::min(size, kMostAtOnce);
    int written = 0;
    if (EVP_DecryptUpdate(parts->context.get(), output, &written, input, static_cast<int>(part)) !=
        1) {
      return kUnsuccessful;
    }
    input += part;
    output += part;
    size -= part;
  }
  return kSuccess;
}

}  // namespace OMB::system
