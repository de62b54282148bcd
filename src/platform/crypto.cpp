#include "ombrel/platform/crypto.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "ombrel/platform/file_utils.h"

#include "platform/console.h"
#include "platform/digestion.h"
#include "system/cipher.h"

namespace OMB::Crypto {
namespace {

// Each prints the message of a step that failed, and tells whether it succeeded.
bool succeeded(system::Status status, const wchar_t* call) {
  if (status >= 0) return true;
  console::printOut(L"**** Error 0x%x returned by %ls\n", static_cast<unsigned>(status), call);
  return false;
}

bool allocated(bool done) {
  if (!done) console::printOut(L"**** memory allocation failed\n");
  return done;
}

bool isLongEnough(int ivSize, std::uint32_t blockLength) {
  if (blockLength <= static_cast<std::uint32_t>(ivSize)) return true;
  console::printOut(L"**** block length is longer than the provided IV length\n");
  return false;
}

struct Bytes {
  const unsigned char* data;
  std::uint32_t size;
};

struct Secrets {
  const unsigned char* iv;
  int ivSize;
  const unsigned char* key;
  int keySize;
};

bool prepare(system::Cipher& aes, const Secrets& secrets) {
  std::uint32_t blockLength = 0;
  return succeeded(aes.open(), L"BCryptOpenAlgorithmProvider") &&
         succeeded(aes.getObjectLength(), L"BCryptGetProperty") &&
         allocated(aes.allocateObject()) &&
         succeeded(aes.getBlockLength(blockLength), L"BCryptGetProperty") &&
         isLongEnough(secrets.ivSize, blockLength) && allocated(aes.copyIv(secrets.iv)) &&
         succeeded(aes.setChainingMode(), L"BCryptSetProperty") &&
         succeeded(aes.generateKey(secrets.key, static_cast<std::uint32_t>(secrets.keySize)),
                   L"BCryptGenerateSymmetricKey");
}

// `makeRoom` gives the memory for as many bytes of plaintext as it is told.
bool runDecryption(const auto& makeRoom, const Bytes& cipher, const Secrets& secrets) {
  system::Cipher aes;
  if (!prepare(aes, secrets)) return false;
  std::uint32_t size = 0;
  const auto decrypt = [&](unsigned char* output, std::uint32_t outputSize) {
    return succeeded(aes.decrypt(cipher.data, cipher.size, output, outputSize, size),
                     L"BCryptDecrypt");
  };
  return decrypt(nullptr, 0) && decrypt(makeRoom(size), size);
}

// The last byte says how many bytes stand behind the plaintext, itself included.
void removeTrailingBytes(ByteVector& plaintext) {
  if (plaintext.empty()) return;
  const std::size_t trailing = plaintext.back();
  if (trailing > plaintext.size()) throw std::length_error("vector too long");
  plaintext.resize(plaintext.size() - trailing);
}

}  // namespace

ByteVector decryptBuffer(unsigned char* buffer, int bufferSize, unsigned char* iv, int ivSize,
                         unsigned char* key, int keySize) {
  ByteVector result;
  const auto makeRoom = [&](std::uint32_t size) {
    result.resize(size);
    return result.data();
  };
  const Bytes cipher{buffer, static_cast<std::uint32_t>(bufferSize)};
  if (runDecryption(makeRoom, cipher, {iv, ivSize, key, keySize})) removeTrailingBytes(result);
  return result;
}

ByteVector decryptBuffer(ByteVector buffer, unsigned char* iv, int ivSize, unsigned char* key,
                         int keySize) {
  ByteVector result;
  const auto sameMemory = [&](std::uint32_t size) {
    result = std::move(buffer);
    result.resize(size);  // to no more than there was: CBC alone adds nothing
    return result.data();
  };
  const Bytes cipher{buffer.data(), static_cast<std::uint32_t>(buffer.size())};
  if (runDecryption(sameMemory, cipher, {iv, ivSize, key, keySize})) {
    removeTrailingBytes(result);
  } else {
    std::fill(result.begin(), result.end(), static_cast<unsigned char>(0));  // partly ciphertext
  }
  return result;
}

ByteVector effectiveKey(const unsigned char* key, int keySize, const unsigned char* keyMask) {
  ByteVector result(key, key + keySize);
  std::transform(
      result.begin(), result.end(), keyMask, result.begin(),
      [](int keyByte, int maskByte) { return static_cast<unsigned char>(keyByte ^ maskByte); });
  return result;
}

ByteVector decryptFile(const char* fileName, unsigned char* iv, int ivSize, unsigned char* key,
                       int keySize, unsigned char* keyMask) {
  const std::int64_t size = Utility::fileSize(fileName);
  if (size < 0) throw std::length_error("vector too long");
  ByteVector bytes(static_cast<std::size_t>(size));
  Utility::readAllFile(std::string(fileName), bytes.data(), bytes.size());
  if (key == nullptr) return bytes;
  ByteVector aesKey = effectiveKey(key, keySize, keyMask);
  return decryptBuffer(std::move(bytes), iv, ivSize, aesKey.data(), keySize);
}

bool Digestion::begin() {
  return succeeded(sha.open(), L"BCryptOpenAlgorithmProvider") &&
         succeeded(sha.getObjectLength(), L"BCryptGetProperty") &&
         allocated(sha.allocateObject()) &&
         succeeded(sha.getDigestLength(length), L"BCryptGetProperty") &&
         allocated(sha.allocateDigest()) && succeeded(sha.create(), L"BCryptCreateHash");
}

bool Digestion::add(const unsigned char* part, std::uint32_t size) {
  return succeeded(sha.add(part, size), L"BCryptHashData");
}

ByteVector Digestion::finish() {
  if (!succeeded(sha.finish(), L"BCryptFinishHash")) return {};
  return {sha.value(), sha.value() + length};
}

ByteVector hashBuffer(unsigned char* buffer, int bufferSize) {
  Digestion sha;
  if (!sha.begin() || !sha.add(buffer, static_cast<std::uint32_t>(bufferSize))) return {};
  return sha.finish();
}

}  // namespace OMB::Crypto
