// The cryptography calls over libcrypto. Status values are those that the original documents. Where
// the original is lenient and a caller's slip would go unseen, this layer is strict: a provider has
// no chaining mode until one is set, keys and hashes live in the blocks that the caller gives, and
// the IV block is changed by a decryption.
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

#include <openssl/evp.h>

#include "platform/posix/posix_calls.h"

namespace {

constexpr NTSTATUS status(std::uint32_t value) {
  return static_cast<NTSTATUS>(value);
}
constexpr NTSTATUS kSuccess = 0;
constexpr NTSTATUS kUnsuccessful = status(0xC0000001);
constexpr NTSTATUS kInvalidHandle = status(0xC0000008);
constexpr NTSTATUS kInvalidParameter = status(0xC000000D);
constexpr NTSTATUS kNoMemory = status(0xC0000017);
constexpr NTSTATUS kBufferTooSmall = status(0xC0000023);
constexpr NTSTATUS kNotSupported = status(0xC00000BB);
constexpr NTSTATUS kInvalidBufferSize = status(0xC0000206);
constexpr NTSTATUS kNotFound = status(0xC0000225);

constexpr ULONG kAesBlock = 16;
constexpr ULONG kLargestAesKey = 32;
constexpr ULONG kSha256Digest = 32;

// The first word of every object, so that a handle of another kind, or one that has ended, is
// refused.
enum class Kind : std::uint32_t { Ended = 0, Aes = 0x41455331, Sha256, AesKey, Sha256Hash };

struct Provider {
  Kind kind;
  bool cbc = false;
};

struct KeyObject {
  Kind kind;
  bool cbc;
  ULONG size;
  unsigned char bytes[kLargestAesKey];
};

struct HashObject {
  Kind kind;
  EVP_MD_CTX* context;
};

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

Provider* providerOf(BCRYPT_HANDLE handle) {
  auto* provider = static_cast<Provider*>(handle);
  const bool known =
      provider != nullptr && (provider->kind == Kind::Aes || provider->kind == Kind::Sha256);
  return known ? provider : nullptr;
}

template <typename Object>
Object* objectOf(void* handle, Kind kind) {
  auto* object = static_cast<Object*>(handle);
  return object != nullptr && object->kind == kind ? object : nullptr;
}

bool lengthOf(const Provider& provider, const wchar_t* property, DWORD& length) {
  const bool aes = provider.kind == Kind::Aes;
  if (std::wcscmp(property, L"ObjectLength") == 0) {
    length = aes ? sizeof(KeyObject) : sizeof(HashObject);
  } else if (aes && std::wcscmp(property, L"BlockLength") == 0) {
    length = kAesBlock;
  } else if (!aes && std::wcscmp(property, L"HashDigestLength") == 0) {
    length = kSha256Digest;
  } else {
    return false;
  }
  return true;
}

const EVP_CIPHER* cipherOf(ULONG keySize) {
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

bool decryptBlocks(const KeyObject& key, const unsigned char* input, ULONG size,
                   const unsigned char* iv, unsigned char* output) {
  constexpr ULONG kMostAtOnce = ULONG{1} << 30;  // the library counts in int
  const CipherContext context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  if (context == nullptr ||
      EVP_DecryptInit_ex(context.get(), cipherOf(key.size), nullptr, key.bytes, iv) != 1 ||
      EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1) {
    return false;
  }
  for (ULONG done = 0; done < size;) {
    const ULONG part = size - done < kMostAtOnce ? size - done : kMostAtOnce;
    int written = 0;
    if (EVP_DecryptUpdate(context.get(), output + done, &written, input + done,
                          static_cast<int>(part)) != 1) {
      return false;
    }
    done += part;
  }
  return true;
}

}  // namespace

NTSTATUS BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* algorithm, const wchar_t* name,
                                     const wchar_t* implementation, ULONG flags) {
  if (algorithm == nullptr || name == nullptr || implementation != nullptr || flags != 0) {
    return kInvalidParameter;
  }
  const bool aes = std::wcscmp(name, L"AES") == 0;
  if (!aes && std::wcscmp(name, L"SHA256") != 0) return kNotFound;
  auto* provider = new (std::nothrow) Provider{aes ? Kind::Aes : Kind::Sha256};
  if (provider == nullptr) return kNoMemory;
  *algorithm = provider;
  return kSuccess;
}

NTSTATUS BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE algorithm, ULONG /*flags*/) {
  Provider* provider = providerOf(algorithm);
  if (provider == nullptr) return kInvalidHandle;
  provider->kind = Kind::Ended;
  delete provider;
  return kSuccess;
}

NTSTATUS BCryptGetProperty(BCRYPT_HANDLE object, const wchar_t* property, PUCHAR value, ULONG size,
                           ULONG* written, ULONG /*flags*/) {
  const Provider* provider = providerOf(object);
  if (provider == nullptr) return kInvalidHandle;
  if (property == nullptr || value == nullptr || written == nullptr) return kInvalidParameter;
  DWORD length = 0;
  if (!lengthOf(*provider, property, length)) return kNotSupported;
  *written = sizeof(length);
  if (size < sizeof(length)) return kBufferTooSmall;
  std::memcpy(value, &length, sizeof(length));
  return kSuccess;
}

NTSTATUS BCryptSetProperty(BCRYPT_HANDLE object, const wchar_t* property, PUCHAR value, ULONG size,
                           ULONG /*flags*/) {
  constexpr wchar_t kCbc[] = L"ChainingModeCBC";
  Provider* provider = providerOf(object);
  if (provider == nullptr) return kInvalidHandle;
  if (property == nullptr || value == nullptr) return kInvalidParameter;
  const bool known = provider->kind == Kind::Aes && std::wcscmp(property, L"ChainingMode") == 0;
  if (!known || size != sizeof(kCbc) || std::memcmp(value, kCbc, size) != 0) return kNotSupported;
  provider->cbc = true;
  return kSuccess;
}

NTSTATUS BCryptGenerateSymmetricKey(BCRYPT_ALG_HANDLE algorithm, BCRYPT_KEY_HANDLE* key,
                                    PUCHAR keyObject, ULONG keyObjectSize, PUCHAR secret,
                                    ULONG secretSize, ULONG /*flags*/) {
  const Provider* provider = providerOf(algorithm);
  if (provider == nullptr) return kInvalidHandle;
  if (provider->kind != Kind::Aes) return kNotSupported;
  if (key == nullptr || keyObject == nullptr || secret == nullptr) return kInvalidParameter;
  if (keyObjectSize < sizeof(KeyObject)) return kBufferTooSmall;
  if (cipherOf(secretSize) == nullptr) return kInvalidParameter;
  auto* made = new (keyObject) KeyObject{Kind::AesKey, provider->cbc, secretSize, {}};
  std::memcpy(made->bytes, secret, secretSize);
  *key = made;
  return kSuccess;
}

NTSTATUS BCryptDecrypt(BCRYPT_KEY_HANDLE key, PUCHAR input, ULONG inputSize, void* paddingInfo,
                       PUCHAR iv, ULONG ivSize, PUCHAR output, ULONG outputSize, ULONG* resultSize,
                       ULONG flags) {
  const auto* aes = objectOf<KeyObject>(key, Kind::AesKey);
  if (aes == nullptr) return kInvalidHandle;
  if (!aes->cbc) return kNotSupported;
  if (resultSize == nullptr || paddingInfo != nullptr || flags != 0) return kInvalidParameter;
  if (iv == nullptr || ivSize != kAesBlock) return kInvalidParameter;
  if (inputSize % kAesBlock != 0) return kInvalidBufferSize;
  *resultSize = inputSize;
  if (output == nullptr || inputSize == 0) return kSuccess;
  if (outputSize < inputSize) return kBufferTooSmall;

  unsigned char lastBlock[kAesBlock];  // taken first, since the output may be the input
  std::memcpy(lastBlock, input + inputSize - kAesBlock, kAesBlock);
  if (!decryptBlocks(*aes, input, inputSize, iv, output)) return kUnsuccessful;
  std::memcpy(iv, lastBlock, kAesBlock);  // so that a further call goes on with the chain
  return kSuccess;
}

NTSTATUS BCryptDestroyKey(BCRYPT_KEY_HANDLE key) {
  auto* aes = objectOf<KeyObject>(key, Kind::AesKey);
  if (aes == nullptr) return kInvalidHandle;
  SecureZeroMemory(aes, sizeof(*aes));
  return kSuccess;
}

NTSTATUS BCryptCreateHash(BCRYPT_ALG_HANDLE algorithm, BCRYPT_HASH_HANDLE* hash, PUCHAR hashObject,
                          ULONG hashObjectSize, PUCHAR secret, ULONG secretSize, ULONG /*flags*/) {
  const Provider* provider = providerOf(algorithm);
  if (provider == nullptr) return kInvalidHandle;
  if (provider->kind != Kind::Sha256) return kNotSupported;
  if (hash == nullptr || hashObject == nullptr || secret != nullptr || secretSize != 0) {
    return kInvalidParameter;
  }
  if (hashObjectSize < sizeof(HashObject)) return kBufferTooSmall;
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  if (context == nullptr) return kNoMemory;
  if (EVP_DigestInit_ex(context, EVP_sha256(), nullptr) != 1) {
    EVP_MD_CTX_free(context);
    return kUnsuccessful;
  }
  *hash = new (hashObject) HashObject{Kind::Sha256Hash, context};
  return kSuccess;
}

NTSTATUS BCryptHashData(BCRYPT_HASH_HANDLE hash, PUCHAR input, ULONG inputSize, ULONG /*flags*/) {
  const auto* sha = objectOf<HashObject>(hash, Kind::Sha256Hash);
  if (sha == nullptr) return kInvalidHandle;
  return EVP_DigestUpdate(sha->context, input, inputSize) == 1 ? kSuccess : kUnsuccessful;
}

NTSTATUS BCryptFinishHash(BCRYPT_HASH_HANDLE hash, PUCHAR output, ULONG outputSize,
                          ULONG /*flags*/) {
  const auto* sha = objectOf<HashObject>(hash, Kind::Sha256Hash);
  if (sha == nullptr) return kInvalidHandle;
  if (output == nullptr || outputSize != kSha256Digest) return kInvalidParameter;
  return EVP_DigestFinal_ex(sha->context, output, nullptr) == 1 ? kSuccess : kUnsuccessful;
}

NTSTATUS BCryptDestroyHash(BCRYPT_HASH_HANDLE hash) {
  auto* sha = objectOf<HashObject>(hash, Kind::Sha256Hash);
  if (sha == nullptr) return kInvalidHandle;
  EVP_MD_CTX_free(sha->context);
  sha->kind = Kind::Ended;
  return kSuccess;
}
