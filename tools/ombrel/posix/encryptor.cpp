#include "encryptor.h"

#include <vector>

#include <openssl/evp.h>

#include "build_constants.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

constexpr std::size_t kBlockBytes = 16;

void require(bool done) {
  if (!done) throw ToolError(ExitCode::Failure, "the cryptography library refuses AES-128-CBC");
}

}  // namespace

struct Encryptor::Parts {
  std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context{
      EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free};  // wipes itself
  std::vector<unsigned char> sealed;

  std::span<const std::byte> written(int length) const {
    return std::as_bytes(std::span(sealed)).first(static_cast<std::size_t>(length));
  }
};

Encryptor::Encryptor(const ByteVector& key) : parts(std::make_unique<Parts>()) {
  require(parts->context && EVP_EncryptInit_ex(parts->context.get(), EVP_aes_128_cbc(), nullptr,
                                               key.data(), modelIv));
}

Encryptor::~Encryptor() = default;

std::span<const std::byte> Encryptor::update(std::span<const unsigned char> plain) {
  parts->sealed.resize(plain.size() + kBlockBytes);
  int length = 0;
  require(EVP_EncryptUpdate(parts->context.get(), parts->sealed.data(), &length, plain.data(),
                            static_cast<int>(plain.size())));
  return parts->written(length);
}

std::span<const std::byte> Encryptor::finish() {
  parts->sealed.resize(kBlockBytes);
  int length = 0;
  require(EVP_EncryptFinal_ex(parts->context.get(), parts->sealed.data(), &length));
  return parts->written(length);
}

}  // namespace OMB::tool
