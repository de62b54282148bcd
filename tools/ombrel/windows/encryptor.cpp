#include "encryptor.h"

#include <algorithm>
#include <array>
#include <vector>

#include "build_constants.h"
#include "tool_error.h"
#include "windows/windows_calls.h"

namespace OMB::tool {
namespace {

constexpr std::size_t kBlockBytes = 16;

void require(NTSTATUS status) {
  if (status >= 0) return;
  throw ToolError(ExitCode::Failure, "the cryptography library refuses AES-128-CBC");
}

}  // namespace

struct Encryptor::Parts {
  BCRYPT_ALG_HANDLE provider = nullptr;
  BCRYPT_KEY_HANDLE key = nullptr;
  std::array<unsigned char, kBlockBytes> chained{};  ///< the last block, which the next one needs
  ByteVector plain;                                  ///< of a block that is not full yet, at last
  std::vector<unsigned char> sealed;

  ~Parts() {
    if (key != nullptr) BCryptDestroyKey(key);
    if (provider != nullptr) BCryptCloseAlgorithmProvider(provider, 0);
  }

  std::span<const std::byte> encryptWholeBlocks();
};

std::span<const std::byte> Encryptor::Parts::encryptWholeBlocks() {
  const std::size_t size = plain.size() / kBlockBytes * kBlockBytes;
  sealed.resize(size);
  if (size == 0) return {};
  // Windows leaves the next block's vector in the array, Wine does not.
  std::array<unsigned char, kBlockBytes> iv = chained;
  ULONG written = 0;
  require(BCryptEncrypt(key, plain.data(), static_cast<ULONG>(size), nullptr, iv.data(),
                        kBlockBytes, sealed.data(), static_cast<ULONG>(size), &written, 0));
  std::copy_n(sealed.end() - kBlockBytes, kBlockBytes, chained.begin());
  plain.erase(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(size));
  return std::as_bytes(std::span(sealed));
}

Encryptor::Encryptor(const ByteVector& key) : parts(std::make_unique<Parts>()) {
  std::copy_n(modelIv, kBlockBytes, parts->chained.begin());
  require(BCryptOpenAlgorithmProvider(&parts->provider, BCRYPT_AES_ALGORITHM, nullptr, 0));
  wchar_t mode[] = L"ChainingModeCBC";
  require(BCryptSetProperty(parts->provider, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(mode),
                            sizeof(mode), 0));
  require(BCryptGenerateSymmetricKey(parts->provider, &parts->key, nullptr, 0,
                                     const_cast<PUCHAR>(key.data()), static_cast<ULONG>(key.size()),
                                     0));
}

Encryptor::~Encryptor() = default;

std::span<const std::byte> Encryptor::update(std::span<const unsigned char> plain) {
  parts->plain.insert(parts->plain.end(), plain.begin(), plain.end());
  return parts->encryptWholeBlocks();
}

std::span<const std::byte> Encryptor::finish() {
  const std::size_t count = kBlockBytes - parts->plain.size() % kBlockBytes;
  parts->plain.insert(parts->plain.end(), count, static_cast<unsigned char>(count));
  return parts->encryptWholeBlocks();
}

}  // namespace OMB::tool
