// Decryption of blocks and files of all lengths, against libcrypto called directly.
#include <memory>
#include <optional>
#include <stdexcept>

#include <openssl/evp.h>

#include "ombrel/platform/crypto.h"

#include "fuzz_input.h"

namespace OMB {
namespace {

using Result = std::optional<ByteVector>;  // nothing for "vector too long"

template <typename Call>
Result resultOf(Call&& call) {
  try {
    return call();
  } catch (const std::length_error& error) {
    REQUIRE(std::string(error.what()) == "vector too long");
    return std::nullopt;
  }
}

Result expected(const ByteVector& cipher, const ByteVector& iv, const ByteVector& key) {
  const bool possible = iv.size() >= 16 && cipher.size() % 16 == 0 &&
                        (key.size() == 16 || key.size() == 24 || key.size() == 32);
  if (!possible || cipher.empty()) return ByteVector();
  const EVP_CIPHER* aes = key.size() == 16   ? EVP_aes_128_cbc()
                          : key.size() == 24 ? EVP_aes_192_cbc()
                                             : EVP_aes_256_cbc();
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
      EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  ByteVector plain(cipher.size());
  int size = 0;
  REQUIRE(EVP_DecryptInit_ex(context.get(), aes, nullptr, key.data(), iv.data()) == 1);
  EVP_CIPHER_CTX_set_padding(context.get(), 0);
  REQUIRE(EVP_DecryptUpdate(context.get(), plain.data(), &size, cipher.data(),
                            static_cast<int>(cipher.size())) == 1);
  if (plain.back() > plain.size()) return std::nullopt;
  plain.resize(plain.size() - plain.back());
  return plain;
}

void run(fuzz::Input input) {
  ByteVector iv = input.bytes(input.take<std::uint8_t>() % 40);
  ByteVector key = input.bytes(input.take<std::uint8_t>() % 40);
  ByteVector cipher = input.bytes(input.left());
  const auto size = [](const ByteVector& bytes) { return static_cast<int>(bytes.size()); };
  const Result wanted = expected(cipher, iv, key);
  REQUIRE(wanted == resultOf([&] {
            return Crypto::decryptBuffer(cipher.data(), size(cipher), iv.data(), size(iv),
                                         key.data(), size(key));
          }));

  static const fuzz::MemoryFile file;
  static const std::string path = file.path();
  file.write(cipher.data(), cipher.size());
  ByteVector masked(key.size() + 1);  // never null, which stands for no key
  ByteVector mask(key.size() + 1, 0x5C);
  for (std::size_t i = 0; i < key.size(); ++i) masked[i] = key[i] ^ mask[i];
  REQUIRE(wanted == resultOf([&] {
            return Crypto::decryptFile(path.c_str(), iv.data(), size(iv), masked.data(), size(key),
                                       mask.data());
          }));
  REQUIRE(Crypto::decryptFile(path.c_str(), nullptr, 0, nullptr, 0, nullptr) == cipher);
}

}  // namespace
}  // namespace OMB

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  OMB::run({data, size});
  return 0;
}
