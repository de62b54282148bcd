// Where the cryptography calls of this layer are stricter than a lenient platform's, so that a slip
// of their caller shows here.
#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "platform/system_calls.h"

namespace {

using Block = std::vector<unsigned char>;

class PosixCng : public testing::Test {
 protected:
  ~PosixCng() override { BCryptCloseAlgorithmProvider(provider, 0); }

  void open(const wchar_t* algorithm) {
    ASSERT_EQ(BCryptOpenAlgorithmProvider(&provider, algorithm, nullptr, 0), 0);
    ULONG written = 0;
    ASSERT_EQ(BCryptGetProperty(provider, L"ObjectLength", reinterpret_cast<PUCHAR>(&objectSize),
                                sizeof(objectSize), &written, 0),
              0);
    object.assign(objectSize, 0);
  }

  BCRYPT_ALG_HANDLE provider = nullptr;
  DWORD objectSize = 0;
  Block object, input = Block(32, 2), output = Block(32, 3);
};

TEST_F(PosixCng, DecryptsInTheModeThatIsSetWithAKeyInTheBlockThatItIsGiven) {
  open(L"AES");
  BCRYPT_KEY_HANDLE key = nullptr;
  Block secret(64, 0x5C), iv(16, 1);
  const auto generate = [&](ULONG blockSize, ULONG keySize) {
    return BCryptGenerateSymmetricKey(provider, &key, object.data(), blockSize, secret.data(),
                                      keySize, 0);
  };
  const auto decrypt = [&] {
    ULONG size = 0;
    return BCryptDecrypt(key, input.data(), 32, nullptr, iv.data(), 16, output.data(), 32, &size,
                         0);
  };
  for (ULONG size = 0; size <= 64; ++size) {
    const bool valid = size == 16 || size == 24 || size == 32;
    EXPECT_EQ(generate(objectSize, size), valid ? 0 : static_cast<NTSTATUS>(0xC000000D)) << size;
  }
  EXPECT_LT(decrypt(), 0) << "without a mode";
  EXPECT_EQ(output, Block(32, 3));

  wchar_t cbc[] = L"ChainingModeCBC";
  ASSERT_EQ(
      BCryptSetProperty(provider, L"ChainingMode", reinterpret_cast<PUCHAR>(cbc), sizeof(cbc), 0),
      0);
  EXPECT_LT(generate(objectSize - 1, 16), 0);
  ASSERT_EQ(generate(objectSize, 16), 0);
  EXPECT_EQ(std::ranges::count(object, 0x5C), 16);
  input.back() = 9;
  EXPECT_EQ(decrypt(), 0);
  EXPECT_EQ(iv, Block(input.end() - 16, input.end())) << "the chain goes on with the last block";
  const Block kept = object;
  std::ranges::fill(object, 0xDD);
  EXPECT_LT(decrypt(), 0);
  std::ranges::copy(kept, object.begin());
  EXPECT_EQ(BCryptDestroyKey(key), 0);
  EXPECT_EQ(object, Block(objectSize, 0)) << "wiped";
  EXPECT_LT(BCryptDestroyKey(key), 0);
}

TEST_F(PosixCng, KeepsTheHashInTheBlockItIsGiven) {
  open(L"SHA256");
  BCRYPT_HASH_HANDLE hash = nullptr;
  const auto create = [&](ULONG blockSize) {
    return BCryptCreateHash(provider, &hash, object.data(), blockSize, nullptr, 0, 0);
  };
  const auto add = [&] { return BCryptHashData(hash, input.data(), 32, 0); };
  EXPECT_LT(create(objectSize - 1), 0);
  ASSERT_EQ(create(objectSize), 0);
  EXPECT_EQ(add(), 0);
  const Block kept = object;
  std::ranges::fill(object, 0xDD);
  EXPECT_LT(add(), 0);
  std::ranges::copy(kept, object.begin());
  EXPECT_EQ(BCryptFinishHash(hash, output.data(), 32, 0), 0);
  EXPECT_EQ(BCryptDestroyHash(hash), 0);
  EXPECT_LT(BCryptDestroyHash(hash), 0);
}

}  // namespace
