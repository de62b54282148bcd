// Where the cryptography calls of this layer are stricter than a lenient platform's, so that a slip
// of their caller shows here.
#include <algorithm>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "platform/system_calls.h"

namespace {

constexpr NTSTATUS kInvalidParameter = static_cast<NTSTATUS>(0xC000000D);

using Block = std::vector<unsigned char>;

wchar_t cbc[] = L"ChainingModeCBC";

class PosixCng : public testing::Test {
 protected:
  ~PosixCng() override { BCryptCloseAlgorithmProvider(provider, 0); }

  void open(const wchar_t* algorithm) {
    ASSERT_EQ(BCryptOpenAlgorithmProvider(&provider, algorithm, nullptr, 0), 0);
    DWORD size = 0;
    ULONG written = 0;
    ASSERT_EQ(BCryptGetProperty(provider, L"ObjectLength", reinterpret_cast<PUCHAR>(&size),
                                sizeof(size), &written, 0),
              0);
    object.assign(size, 0);
  }
  NTSTATUS setCbc() {
    return BCryptSetProperty(provider, L"ChainingMode", reinterpret_cast<PUCHAR>(cbc), sizeof(cbc),
                             0);
  }
  NTSTATUS generate(ULONG objectSize, ULONG keySize) {
    Block secret(64, 0x5C);
    return BCryptGenerateSymmetricKey(provider, &key, object.data(), objectSize, secret.data(),
                                      keySize, 0);
  }
  NTSTATUS decrypt() {
    ULONG size = 0;
    return BCryptDecrypt(key, cipher.data(), 32, nullptr, iv.data(), 16, plain.data(), 32, &size,
                         0);
  }
  ULONG wholeObject() const { return static_cast<ULONG>(object.size()); }

  BCRYPT_ALG_HANDLE provider = nullptr;
  BCRYPT_KEY_HANDLE key = nullptr;
  Block object, iv = Block(16, 1), cipher = Block(32, 2), plain = Block(32, 3);
};

TEST_F(PosixCng, ChangesTheIvToTheLastBlock) {
  open(L"AES");
  ASSERT_EQ(setCbc(), 0);
  ASSERT_EQ(generate(wholeObject(), 16), 0);
  cipher.back() = 9;
  EXPECT_EQ(decrypt(), 0);
  EXPECT_EQ(iv, Block(cipher.end() - 16, cipher.end()));
  EXPECT_EQ(BCryptDestroyKey(key), 0);
}

TEST_F(PosixCng, HasNoChainingModeOfItsOwn) {
  open(L"AES");
  ASSERT_EQ(generate(wholeObject(), 16), 0);
  EXPECT_LT(decrypt(), 0);
  EXPECT_EQ(plain, Block(32, 3));
}

TEST_F(PosixCng, TakesKeysOfThreeLengthsOnly) {
  open(L"AES");
  for (ULONG size = 0; size <= 64; ++size) {
    const bool valid = size == 16 || size == 24 || size == 32;
    EXPECT_EQ(generate(wholeObject(), size), valid ? 0 : kInvalidParameter) << size;
  }
}

TEST_F(PosixCng, KeepsTheKeyInTheBlockItIsGivenAndWipesIt) {
  open(L"AES");
  ASSERT_EQ(setCbc(), 0);
  EXPECT_LT(generate(wholeObject() - 1, 16), 0);
  ASSERT_EQ(generate(wholeObject(), 16), 0);
  EXPECT_EQ(std::count(object.begin(), object.end(), 0x5C), 16);
  const Block kept = object;
  std::fill(object.begin(), object.end(), 0xDD);
  EXPECT_LT(decrypt(), 0);
  object.assign(kept.begin(), kept.end());
  EXPECT_EQ(decrypt(), 0);
  EXPECT_EQ(BCryptDestroyKey(key), 0);
  EXPECT_EQ(object, Block(object.size(), 0));
  EXPECT_LT(BCryptDestroyKey(key), 0);
}

TEST_F(PosixCng, KeepsTheHashInTheBlockItIsGiven) {
  open(L"SHA256");
  BCRYPT_HASH_HANDLE hash = nullptr;
  EXPECT_LT(BCryptCreateHash(provider, &hash, object.data(), wholeObject() - 1, nullptr, 0, 0), 0);
  ASSERT_EQ(BCryptCreateHash(provider, &hash, object.data(), wholeObject(), nullptr, 0, 0), 0);
  const Block kept = object;
  std::fill(object.begin(), object.end(), 0xDD);
  EXPECT_LT(BCryptHashData(hash, cipher.data(), 32, 0), 0);
  object.assign(kept.begin(), kept.end());
  EXPECT_EQ(BCryptHashData(hash, cipher.data(), 32, 0), 0);
  EXPECT_EQ(BCryptFinishHash(hash, plain.data(), 32, 0), 0);
  EXPECT_EQ(BCryptDestroyHash(hash), 0);
  EXPECT_LT(BCryptDestroyHash(hash), 0);
}

}  // namespace
