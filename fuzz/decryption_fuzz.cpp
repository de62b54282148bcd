// Decryption of blocks and files of all lengths, against libcrypto called directly.
#include <memory>
#include <optional>

#include <openssl/evp.h>

#include "ombrel/platform/crypto.h"

#include "fuzz_input.h"

namespace OMB::fuzz {
namespace {

using Result = std::optional<ByteVector>;  // nothing for "vector too long"

template <typename Call>
Result resultOf(Call&& call) try {
  return call();
} catch (const std::length_error& error) {
  REQUIRE(std::string(error.what()) == "vector too long");
  return std::nullopt;
}

Result expected(const ByteVector& cipher, const ByteVector& iv, const ByteVector& key) {
  const EVP_CIPHER* aes = key.size() == 16   ? EVP_aes_128_cbc()
                          : key.size() == 24 ? EVP_aes_192_cbc()
                          : key.size() == 32 ? EVP_aes_256_cbc()
                                             : nullptr;
  if (aes == nullptr || iv.size() < 16 || cipher.empty() || cipher.size() % 16 != 0) {
    return ByteVector();
  }
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
      EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  ByteVector plain(cipher.size());
  int size = static_cast<int>(plain.size());
  EVP_DecryptInit_ex(context.get(), aes, nullptr, key.data(), iv.data());
  EVP_CIPHER_CTX_set_padding(context.get(), 0);
  REQUIRE(EVP_DecryptUpdate(context.get(), plain.data(), &size, cipher.data(), size) == 1);
  if (plain.back() > plain.size()) return std::nullopt;
  plain.resize(plain.size() - plain.back());
  return plain;
}

}  // namespace

void run(Input input) {
  ByteVector iv = input.bytes(input.take<std::uint8_t>() % 40);
  ByteVector key = input.bytes(input.take<std::uint8_t>() % 40);
  ByteVector cipher = input.rest();
  const auto ivSize = static_cast<int>(iv.size()), keySize = static_cast<int>(key.size());
  const Result wanted = expected(cipher, iv, key);
  REQUIRE(wanted == resultOf([&] {
            return Crypto::decryptBuffer(cipher.data(), static_cast<int>(cipher.size()), iv.data(),
                                         ivSize, key.data(), keySize);
          }));
  const std::string& path = fileOf(cipher);
  ByteVector masked(40), mask(40, 0x5C);  // never null, which stands for no key
  for (std::size_t i = 0; i < key.size(); ++i) masked[i] = key[i] ^ mask[i];
  REQUIRE(wanted == resultOf([&] {
            return Crypto::decryptFile(path.c_str(), iv.data(), ivSize, masked.data(), keySize,
                                       mask.data());
          }));
  REQUIRE(Crypto::decryptFile(path.c_str(), nullptr, 0, nullptr, 0, nullptr) == cipher);
}

}  // namespace OMB::fuzz
