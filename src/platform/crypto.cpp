#include "ombrel/platform/crypto.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "ombrel/platform/file_utils.h"

#include "platform/console.h"
#include "platform/system_calls.h"

namespace OMB::Crypto {
namespace {

// Prints the message of a failed call, and tells whether the call succeeded.
bool succeeded(NTSTATUS status, const wchar_t* call) {
  if (status >= 0) return true;
  console::printOut(L"**** Error 0x%x returned by %ls\n", static_cast<unsigned>(status), call);
  return false;
}

// A handle of the provider, released by its own call, whose result nobody could act on.
template <auto release>
class Handle {
 public:
  Handle() = default;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (value_ != nullptr) release(value_);
  }

  void** out() { return &value_; }
  void* get() const { return value_; }

 private:
  void* value_ = nullptr;
};

void closeProvider(BCRYPT_ALG_HANDLE provider) {
  BCryptCloseAlgorithmProvider(provider, 0);
}
void destroyKey(BCRYPT_KEY_HANDLE key) {
  BCryptDestroyKey(key);
}
void destroyHash(BCRYPT_HASH_HANDLE hash) {
  BCryptDestroyHash(hash);
}

using Provider = Handle<closeProvider>;
using Key = Handle<destroyKey>;
using Hash = Handle<destroyHash>;

// A raw block of the process heap.
class HeapBlock {
 public:
  HeapBlock() = default;
  HeapBlock(const HeapBlock&) = delete;
  HeapBlock& operator=(const HeapBlock&) = delete;
  ~HeapBlock() {
    if (data_ != nullptr) HeapFree(GetProcessHeap(), 0, data_);
  }

  bool allocate(ULONG size) {
    data_ = static_cast<PUCHAR>(HeapAlloc(GetProcessHeap(), 0, size));
    size_ = size;
    if (data_ == nullptr) console::printOut(L"**** memory allocation failed\n");
    return data_ != nullptr;
  }
  PUCHAR data() const { return data_; }
  ULONG size() const { return size_; }

 private:
  PUCHAR data_ = nullptr;
  ULONG size_ = 0;
};

bool openProvider(Provider& provider, const wchar_t* algorithm) {
  return succeeded(BCryptOpenAlgorithmProvider(provider.out(), algorithm, nullptr, 0),
                   L"BCryptOpenAlgorithmProvider");
}

bool readLength(const Provider& provider, const wchar_t* property, ULONG& length) {
  DWORD value = 0;
  ULONG written = 0;
  const bool read =
      succeeded(BCryptGetProperty(provider.get(), property, reinterpret_cast<PUCHAR>(&value),
                                  sizeof(value), &written, 0),
                L"BCryptGetProperty");
  length = value;
  return read;
}

bool allocateFor(const Provider& provider, const wchar_t* property, HeapBlock& block) {
  ULONG length = 0;
  return readLength(provider, property, length) && block.allocate(length);
}

// What one decryption holds. The order matters: members end from last to first, and the provider is
// to be closed before the key is destroyed, and the key before its block is freed.
struct Decryption {
  HeapBlock ivCopy;
  HeapBlock keyObject;
  Key key;
  Provider provider;
};

// The call changes the IV block that it is given, so it gets a copy.
bool copyIv(Decryption& aes, const unsigned char* iv, int ivSize) {
  ULONG blockLength = 0;
  if (!readLength(aes.provider, L"BlockLength", blockLength)) return false;
  if (blockLength > static_cast<ULONG>(ivSize)) {
    console::printOut(L"**** block length is longer than the provided IV length\n");
    return false;
  }
  if (!aes.ivCopy.allocate(blockLength)) return false;
  std::memcpy(aes.ivCopy.data(), iv, blockLength);
  return true;
}

bool makeKey(Decryption& aes, unsigned char* key, int keySize) {
  wchar_t mode[] = L"ChainingModeCBC";
  return succeeded(BCryptSetProperty(aes.provider.get(), L"ChainingMode",
                                     reinterpret_cast<PUCHAR>(mode), sizeof(mode), 0),
                   L"BCryptSetProperty") &&
         succeeded(
             BCryptGenerateSymmetricKey(aes.provider.get(), aes.key.out(), aes.keyObject.data(),
                                        aes.keyObject.size(), key, static_cast<ULONG>(keySize), 0),
             L"BCryptGenerateSymmetricKey");
}

struct Bytes {
  unsigned char* data;
  ULONG size;
};

struct Secrets {
  const unsigned char* iv;
  int ivSize;
  unsigned char* key;
  int keySize;
};

// `makeRoom` gives the memory for as many bytes of plaintext as it is told.
bool decryptTo(const auto& makeRoom, Decryption& aes, const Bytes& cipher) {
  const auto decrypt = [&](PUCHAR output, ULONG outputSize, ULONG& resultSize) {
    return succeeded(
        BCryptDecrypt(aes.key.get(), cipher.data, cipher.size, nullptr, aes.ivCopy.data(),
                      aes.ivCopy.size(), output, outputSize, &resultSize, 0),
        L"BCryptDecrypt");
  };
  ULONG resultSize = 0;
  if (!decrypt(nullptr, 0, resultSize)) return false;
  return decrypt(makeRoom(resultSize), resultSize, resultSize);
}

bool runDecryption(const auto& makeRoom, const Bytes& cipher, const Secrets& secrets) {
  Decryption aes;
  return openProvider(aes.provider, L"AES") &&
         allocateFor(aes.provider, L"ObjectLength", aes.keyObject) &&
         copyIv(aes, secrets.iv, secrets.ivSize) && makeKey(aes, secrets.key, secrets.keySize) &&
         decryptTo(makeRoom, aes, cipher);
}

// The last byte says how many bytes stand behind the plaintext, itself included.
void removeTrailingBytes(ByteVector& plaintext) {
  if (plaintext.empty()) return;
  const std::size_t trailing = plaintext.back();
  if (trailing > plaintext.size()) throw std::length_error("vector too long");
  plaintext.resize(plaintext.size() - trailing);
}

// What one digest holds, in the order of Decryption.
struct Digestion {
  HeapBlock digest;
  HeapBlock hashObject;
  Hash hash;
  Provider provider;
};

bool runDigestion(Digestion& sha, unsigned char* buffer, ULONG size) {
  return openProvider(sha.provider, L"SHA256") &&
         allocateFor(sha.provider, L"ObjectLength", sha.hashObject) &&
         allocateFor(sha.provider, L"HashDigestLength", sha.digest) &&
         succeeded(BCryptCreateHash(sha.provider.get(), sha.hash.out(), sha.hashObject.data(),
                                    sha.hashObject.size(), nullptr, 0, 0),
                   L"BCryptCreateHash") &&
         succeeded(BCryptHashData(sha.hash.get(), buffer, size, 0), L"BCryptHashData") &&
         succeeded(BCryptFinishHash(sha.hash.get(), sha.digest.data(), sha.digest.size(), 0),
                   L"BCryptFinishHash");
}

}  // namespace

ByteVector decryptBuffer(unsigned char* buffer, int bufferSize, unsigned char* iv, int ivSize,
                         unsigned char* key, int keySize) {
  ByteVector result;
  const auto makeRoom = [&](ULONG size) {
    result.resize(size);
    return result.data();
  };
  const Bytes cipher{buffer, static_cast<ULONG>(bufferSize)};
  if (runDecryption(makeRoom, cipher, {iv, ivSize, key, keySize})) removeTrailingBytes(result);
  return result;
}

ByteVector decryptBuffer(ByteVector buffer, unsigned char* iv, int ivSize, unsigned char* key,
                         int keySize) {
  ByteVector result;
  const auto sameMemory = [&](ULONG size) {
    result = std::move(buffer);
    result.resize(size);  // to no more than there was: CBC alone adds nothing
    return result.data();
  };
  const Bytes cipher{buffer.data(), static_cast<ULONG>(buffer.size())};
  if (runDecryption(sameMemory, cipher, {iv, ivSize, key, keySize})) {
    removeTrailingBytes(result);
  } else {
    std::fill(result.begin(), result.end(), static_cast<unsigned char>(0));  // partly ciphertext
  }
  return result;
}

ByteVector decryptFile(const char* fileName, unsigned char* iv, int ivSize, unsigned char* key,
                       int keySize, unsigned char* keyMask) {
  const std::int64_t size = Utility::fileSize(fileName);
  if (size < 0) throw std::length_error("vector too long");
  ByteVector bytes(static_cast<std::size_t>(size));
  Utility::readAllFile(std::string(fileName), bytes.data(), bytes.size());
  if (key == nullptr) return bytes;

  ByteVector effectiveKey(key, key + keySize);
  std::transform(
      effectiveKey.begin(), effectiveKey.end(), keyMask, effectiveKey.begin(),
      [](int keyByte, int maskByte) { return static_cast<unsigned char>(keyByte ^ maskByte); });
  return decryptBuffer(std::move(bytes), iv, ivSize, effectiveKey.data(), keySize);
}

ByteVector hashBuffer(unsigned char* buffer, int bufferSize) {
  ByteVector result;
  Digestion sha;
  if (!runDigestion(sha, buffer, static_cast<ULONG>(bufferSize))) return result;
  result.assign(sha.digest.data(), sha.digest.data() + sha.digest.size());
  return result;
}

}  // namespace OMB::Crypto
