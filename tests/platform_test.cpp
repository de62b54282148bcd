// File helpers, cryptography and byte vectors, over the real platform layer.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <functional>
#include <stdexcept>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

#include <gmock/gmock.h>

#include "ombrel/platform/byte_vector.h"
#include "ombrel/platform/crypto.h"
#include "ombrel/platform/file_utils.h"

#include "support.h"

namespace OMB {
namespace {

using test::fromHex;
using test::printedBy;
using test::TemporaryDirectory;

struct FileForms {
  std::int64_t narrowPointer, widePointer, narrowString, wideString;
};

FileForms sizesOf(const std::string& name) {
  const std::wstring wide = test::pathOf(name).wstring();
  return {Utility::fileSize(name.c_str()), Utility::fileSize(wide.c_str()), Utility::fileSize(name),
          Utility::fileSize(wide)};
}

TEST(FileUtils, SizeIsTheSameInAllForms) {
  const TemporaryDirectory folder;
  const std::string big = folder.write("big", "x");
  std::filesystem::resize_file(big, (std::uintmax_t{3} << 30) + 5);  // a hole: takes no room
  const std::string deep = folder.addDeep() + "deep";
  std::ofstream(test::pathOf(deep)) << "four";
  const struct {
    std::string name;
    std::int64_t size;
  } cases[] = {{folder / "missing", -1},
               {folder.write("empty", ""), 0},
               {folder.write("five", std::string_view("12\0\n5", 5)), 5},
               {folder.path().string(), -1},
               {folder / "missing/deeper", -1},
               {deep, 4},
               {big, (std::int64_t{3} << 30) + 5}};
  for (const auto& [name, size] : cases) {
    SCOPED_TRACE(name);
    const FileForms sizes = sizesOf(name);
    EXPECT_EQ(sizes.narrowPointer, size);
    EXPECT_EQ(sizes.widePointer, size);
    EXPECT_EQ(sizes.narrowString, size);
    EXPECT_EQ(sizes.wideString, size);
  }
}

// The narrow forms take the system's own encoding, which has no such name on every system.
TEST(FileUtils, WideNamesAreUnicode) {
  const TemporaryDirectory folder;
  folder.write("\xC3\xA9\xE6\xBC\xA2\xF0\x9F\x98\x80", "bytes");
  const std::wstring name = folder.path().wstring() + L"/\u00E9\u6F22\U0001F600";
  EXPECT_EQ(Utility::fileSize(name), 5);
  std::string bytes(5, '#');
  Utility::readAllFile(name, bytes.data(), bytes.size());
  EXPECT_EQ(bytes, "bytes");
}

TEST(FileUtils, ReadsWhatTheFileHasAndLeavesTheRest) {
  const TemporaryDirectory folder;
  const std::string name = folder.write("name", std::string_view("a\r\n\0z", 5));
  for (const std::uint64_t size :
       {std::uint64_t{0}, std::uint64_t{3}, std::uint64_t{5}, std::uint64_t{9}}) {
    for (const bool wide : {false, true}) {
      std::string buffer(10, '#');
      if (wide) {
        Utility::readAllFile(std::filesystem::path(name).wstring(), buffer.data(), size);
      } else {
        Utility::readAllFile(name, buffer.data(), size);
      }
      const std::size_t read = std::min<std::size_t>(size, 5);
      EXPECT_EQ(buffer, std::string("a\r\n\0z", 5).substr(0, read) + std::string(10 - read, '#'));
    }
  }
  for (const std::string& unreadable : {folder / "missing", folder.path().string()}) {
    std::string buffer(10, '#');
    Utility::readAllFile(unreadable, buffer.data(), 10);
    EXPECT_EQ(buffer, std::string(10, '#'));
  }
}

TEST(ByteVector, UnusedMemoryIsZeroAndWhatWasHeldIsWiped) {
  for (const std::size_t size : {std::size_t{100}, std::size_t{5} << 20}) {
    ByteVector bytes(size, 7);
    const unsigned char* const memory = bytes.data();
    bytes.resize(size / 2);
    EXPECT_EQ(std::count(memory + size / 2, memory + size, 0),
              static_cast<std::ptrdiff_t>(size - size / 2));
    bytes.resize(size);
    EXPECT_EQ(bytes.data(), memory);
    EXPECT_EQ(bytes.front(), 7);
    EXPECT_EQ(bytes.back(), 0);
    bytes.resize(size / 3, 7);
    bytes.back() = 5;
    releaseUnused(bytes);
    EXPECT_EQ(bytes.back(), 5);
    bytes.resize(size);
    EXPECT_EQ(std::count(bytes.begin() + static_cast<std::ptrdiff_t>(size / 3), bytes.end(), 0),
              static_cast<std::ptrdiff_t>(size - size / 3));
    bytes.insert(bytes.begin(), 9);
    EXPECT_EQ(bytes.size(), size + 1);
    EXPECT_EQ(bytes[1], 7);
    EXPECT_EQ(ByteVector(size), ByteVector(size, 0));
  }
}

// NIST SP 800-38A, F.2: one plaintext of four blocks under a key of each length.
constexpr char kIv[] = "000102030405060708090a0b0c0d0e0f";
constexpr char kPlain[] =
    "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710";
struct CbcVector {
  const char* key;
  const char* cipher;
};
constexpr CbcVector kCbcVectors[] = {
    {"2b7e151628aed2a6abf7158809cf4f3c",
     "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
     "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
    {"8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b",
     "4f021db243bc633d7178183a9fa071e8b4d9ada9ad7dedf4e5e738763f69145a"
     "571b242012fb7ae07fa9baac3df102e008b0e27988598881d920a9e64f5615cd"},
    {"603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
     "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
     "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b"},
};

ByteVector decrypt(ByteVector cipher, ByteVector iv, ByteVector key) {
  const ByteVector callersIv = iv;
  ByteVector plain =
      Crypto::decryptBuffer(cipher.data(), static_cast<int>(cipher.size()), iv.data(),
                            static_cast<int>(iv.size()), key.data(), static_cast<int>(key.size()));
  EXPECT_EQ(iv, callersIv);
  return plain;
}

// CBC makes any plaintext out of one block: the IV is XORed in last.
ByteVector ivThatEndsPlaintextIn(unsigned char last) {
  ByteVector iv = fromHex(kIv);
  iv[15] = static_cast<unsigned char>(iv[15] ^ fromHex(kPlain)[15] ^ last);
  return iv;
}

TEST(Crypto, DecryptsPublishedVectors) {
  const ByteVector plain = fromHex(kPlain);
  for (const CbcVector& vector : kCbcVectors) {
    // Its last byte, 0x10, takes off a whole block.
    const ByteVector expected(plain.begin(), plain.end() - 16);
    EXPECT_EQ(decrypt(fromHex(vector.cipher), fromHex(kIv), fromHex(vector.key)), expected);
    ByteVector longer = fromHex(kIv);
    longer.resize(32, 0xFF);
    EXPECT_EQ(decrypt(fromHex(vector.cipher), longer, fromHex(vector.key)), expected);
  }
}

TEST(Crypto, TakesOffWhatTheLastByteSays) {
  const ByteVector key = fromHex(kCbcVectors[0].key);
  const ByteVector cipher = fromHex(std::string_view(kCbcVectors[0].cipher, 32));
  for (const unsigned last : {0u, 1u, 15u, 16u}) {
    const ByteVector plain =
        decrypt(cipher, ivThatEndsPlaintextIn(static_cast<unsigned char>(last)), key);
    ASSERT_EQ(plain.size(), 16 - last);
    EXPECT_TRUE(std::equal(plain.begin(),
                           plain.begin() + std::min<int>(15, 16 - static_cast<int>(last)),
                           fromHex(kPlain).begin()));
  }
  for (const int last : {17, 200, 255}) {
    try {
      EXPECT_EQ(decrypt(cipher, ivThatEndsPlaintextIn(static_cast<unsigned char>(last)), key),
                ByteVector())
          << "has to throw";
    } catch (const std::length_error& failure) {
      EXPECT_STREQ(failure.what(), "vector too long");
    }
  }

  // More than a block may go: the first block's ciphertext repeated behind a chain of 32.
  ByteVector many;
  for (int block = 0; block < 32; ++block) many.insert(many.end(), cipher.begin(), cipher.end());
  const ByteVector raw = fromHex(kPlain);
  const unsigned char natural = static_cast<unsigned char>(raw[15] ^ fromHex(kIv)[15] ^ cipher[15]);
  ASSERT_GT(natural, 16);
  EXPECT_EQ(decrypt(many, fromHex(kIv), key).size(), 512u - natural);
}

TEST(Crypto, RefusesWithAMessageAndLeavesTheCallersBlocks) {
  ByteVector cipher = fromHex(kCbcVectors[0].cipher);
  ByteVector iv = fromHex(kIv);
  ByteVector key(64, 1);
  const struct {
    int bufferSize, ivSize, keySize;
    const char* message;
  } cases[] = {
      {64, 15, 16, "**** block length is longer than the provided IV length\n"},
      {64, 16, 15, "**** Error 0xc000000d returned by BCryptGenerateSymmetricKey\n"},
      {64, 16, 0, "**** Error 0xc000000d returned by BCryptGenerateSymmetricKey\n"},
      {63, 16, 16, "**** Error 0xc0000206 returned by BCryptDecrypt\n"},
      {0, 16, 16, ""},
  };
  for (const auto& [bufferSize, ivSize, keySize, message] : cases) {
    ByteVector result(1);
    const auto printed = printedBy([&, b = bufferSize, i = ivSize, k = keySize] {
      result = Crypto::decryptBuffer(cipher.data(), b, iv.data(), i, key.data(), k);
    });
    EXPECT_EQ(printed.out, message);
    EXPECT_EQ(printed.error, "");
    EXPECT_TRUE(result.empty());
  }
  EXPECT_EQ(iv, fromHex(kIv));
  EXPECT_EQ(cipher, fromHex(kCbcVectors[0].cipher));
}

TEST(Crypto, DecryptsFiles) {
  const TemporaryDirectory folder;
  const std::string sealed = folder.write("sealed", fromHex(kCbcVectors[0].cipher));
  const ByteVector plain = fromHex(kPlain);
  ByteVector iv = fromHex(kIv);
  ByteVector key = fromHex(kCbcVectors[0].key);
  ByteVector mask = fromHex("f0e1d2c3b4a5968778695a4b3c2d1e0f");
  ByteVector callers = key;
  std::transform(key.begin(), key.end(), mask.begin(), callers.begin(), std::bit_xor<>());

  EXPECT_EQ(Crypto::decryptFile(sealed.c_str(), iv.data(), 16, callers.data(), 16, mask.data()),
            ByteVector(plain.begin(), plain.end() - 16));
  EXPECT_EQ(Crypto::decryptFile(sealed.c_str(), nullptr, 0, nullptr, 0, nullptr),
            fromHex(kCbcVectors[0].cipher));
  EXPECT_TRUE(Crypto::decryptFile(folder.write("empty", "").c_str(), iv.data(), 16, callers.data(),
                                  16, mask.data())
                  .empty());
  const auto printed = printedBy([&] {
    EXPECT_TRUE(Crypto::decryptFile(sealed.c_str(), iv.data(), 16, callers.data(), 15, mask.data())
                    .empty());
  });
  EXPECT_EQ(printed.out, "**** Error 0xc000000d returned by BCryptGenerateSymmetricKey\n");
  for (unsigned char* anyKey : {callers.data(), static_cast<unsigned char*>(nullptr)}) {
    try {
      (void)Crypto::decryptFile((folder / "missing").c_str(), iv.data(), 16, anyKey, 16,
                                mask.data());
      ADD_FAILURE() << "has to throw";
    } catch (const std::length_error& failure) {
      EXPECT_STREQ(failure.what(), "vector too long");
    }
  }
}

// FIPS 180-2, B.1 to B.3, and the digest of nothing.
TEST(Crypto, HashesPublishedVectors) {
  const struct {
    std::string input;
    const char* digest;
  } cases[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {std::string(1000000, 'a'),
       "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
  };
  for (const auto& [input, digest] : cases) {
    ByteVector bytes(input.begin(), input.end());
    EXPECT_EQ(Crypto::hashBuffer(bytes.data(), static_cast<int>(bytes.size())), fromHex(digest));
  }
}

// Standard output as a wide stream, into what the parent of a death test reads.
void makeStandardOutputWide() {
#if defined(_WIN32)
  if (_dup2(2, 1) != 0 || _setmode(1, _O_U8TEXT) == -1) std::_Exit(1);
#else
  // One that nobody has used yet, as the first use decides.
  if (std::freopen("/dev/stderr", "w", stdout) == nullptr) std::_Exit(1);
#endif
}

// One stream takes narrow and wide messages in any order, whatever the host made of it.
TEST(Console, LosesNoMessage) {
  unsigned char byte = 0;
  ByteVector key(15);
  const auto wideMessage = [&] { (void)Crypto::decryptBuffer(&byte, 0, &byte, 1, key.data(), 15); };
  const std::string message = "**** block length is longer than the provided IV length\n";
  const auto printed = printedBy([&] {
    std::printf("first\n");
    wideMessage();
    std::printf("second\n");
    wideMessage();
  });
  EXPECT_EQ(printed.out, "first\n" + message + "second\n" + message);

  EXPECT_EXIT(
      {
        makeStandardOutputWide();
        std::wprintf(L"wide\n");
        wideMessage();
        std::wprintf(L"wide again\n");
        std::fflush(stdout);
        std::_Exit(0);
      },
      testing::ExitedWithCode(0), testing::StrEq("wide\n" + message + "wide again\n"));
}

}  // namespace
}  // namespace OMB
