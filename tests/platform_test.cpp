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
#else
#include <sys/stat.h>
#endif

#include <gmock/gmock.h>

#include "ombrel/platform/byte_vector.h"
#include "ombrel/platform/crypto.h"
#include "ombrel/platform/file_utils.h"
#include "ombrel/version.h"

#include "support.h"

namespace OMB {
namespace {

using test::fromHex;
using test::printedBy;
using test::TemporaryDirectory;

TEST(Version, OfTheLoadedFrameworkIsThatOfItsHeaders) {
  EXPECT_EQ(loadedVersion(), OMBREL_VERSION_COMPILED);
  int parts[3] = {};
  ASSERT_EQ(std::sscanf(loadedVersionText(), "%d.%d.%d", &parts[0], &parts[1], &parts[2]), 3);
  EXPECT_EQ(OMBREL_VERSION_NUMBER(parts[0], parts[1], parts[2]), loadedVersion());
  EXPECT_LT(OMBREL_VERSION_NUMBER(1, 9, 999), OMBREL_VERSION_NUMBER(1, 10, 0));
}

TEST(FileUtils, SizeIsTheSameInAllForms) {
  const TemporaryDirectory folder;
  const std::string big = folder.write("big", "x");
  std::filesystem::resize_file(big, (std::uintmax_t{3} << 30) + 5);  // a hole: takes no room
  const std::string deep = folder.addDeep() + "deep";
  std::ofstream(test::pathOf(deep)) << "four";
  const std::pair<std::string, std::int64_t> cases[] = {
      {folder / "missing", -1},
      {folder.write("empty", ""), 0},
      {folder.write("five", std::string_view("12\0\n5", 5)), 5},
      {folder.path().string(), -1},
      {folder / "missing/deeper", -1},
      {deep, 4},
      {big, (std::int64_t{3} << 30) + 5}};
  for (const auto& [name, size] : cases) {
    const std::wstring wide = test::pathOf(name).wstring();
    EXPECT_EQ(Utility::fileSize(name), size) << name;
    EXPECT_EQ(Utility::fileSize(name.c_str()), size) << name;
    EXPECT_EQ(Utility::fileSize(wide), size) << name;
    EXPECT_EQ(Utility::fileSize(wide.c_str()), size) << name;
  }
#if !defined(_WIN32)
  const std::string pipe = folder / "pipe";  // nobody will ever write to it
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(Utility::fileSize(pipe), -1);
#endif
}

TEST(FileUtils, ReadsWhatTheFileHasAndLeavesTheRest) {
  const TemporaryDirectory folder;
  const std::string content("a\r\n\0z", 5);
  // A narrow name is of the system's own encoding, which has no such characters on every system.
  folder.write("\xC3\xA9\xE6\xBC\xA2\xF0\x9F\x98\x80", content);
  const std::wstring wide = folder.path().wstring() + L"/\u00E9\u6F22\U0001F600";
  EXPECT_EQ(Utility::fileSize(wide), 5);
  const std::string narrow = folder.write("name", content);
  for (const std::size_t size : {0U, 3U, 5U, 9U}) {
    const std::size_t read = std::min<std::size_t>(size, 5);
    const std::string expected = content.substr(0, read) + std::string(10 - read, '#');
    std::string buffer(10, '#'), wideBuffer = buffer;
    Utility::readAllFile(narrow, buffer.data(), size);
    Utility::readAllFile(wide, wideBuffer.data(), size);
    EXPECT_EQ(buffer, expected);
    EXPECT_EQ(wideBuffer, expected);
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
    bytes.resize(size / 3, 7);
    bytes.back() = 5;
    bytes.resize(size);
    ByteVector expected(size, 0);
    std::fill_n(expected.begin(), size / 3, 7);
    expected[size / 3 - 1] = 5;
    EXPECT_TRUE(bytes == expected);
    bytes.insert(bytes.begin(), 9);
    EXPECT_EQ(bytes[1], 7);
    EXPECT_TRUE(ByteVector(size) == ByteVector(size, 0));
  }
}

// NIST SP 800-38A, F.2: the first block under a key of each length.
constexpr char kIv[] = "000102030405060708090a0b0c0d0e0f";
constexpr char kPlain[] = "6bc1bee22e409f96e93d7e117393172a";
constexpr std::pair<const char*, const char*> kKeysAndCiphers[] = {
    {"2b7e151628aed2a6abf7158809cf4f3c", "7649abac8119b246cee98e9b12e9197d"},
    {"8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b", "4f021db243bc633d7178183a9fa071e8"},
    {"603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
     "f58c4c04d6e5f1ba779eabfb5f7bfbd6"},
};

ByteVector decrypt(ByteVector cipher, ByteVector iv, ByteVector key) {
  const ByteVector callersIv = iv, callersCipher = cipher;
  ByteVector plain =
      Crypto::decryptBuffer(cipher.data(), static_cast<int>(cipher.size()), iv.data(),
                            static_cast<int>(iv.size()), key.data(), static_cast<int>(key.size()));
  EXPECT_EQ(iv, callersIv);
  EXPECT_EQ(cipher, callersCipher);
  return plain;
}

ByteVector exclusiveOr(ByteVector left, const ByteVector& right) {
  std::transform(left.begin(), left.end(), right.begin(), left.begin(), std::bit_xor<>());
  return left;
}

// CBC makes any plaintext out of one block: the IV is XORed in last.
ByteVector ivFor(const ByteVector& plain) {
  return exclusiveOr(exclusiveOr(fromHex(kIv), fromHex(kPlain)), plain);
}

auto throwsTooLong() {
  return testing::ThrowsMessage<std::length_error>(testing::StrEq("vector too long"));
}

TEST(Crypto, DecryptsPublishedVectorsAndTakesOffWhatTheLastByteSays) {
  for (const auto& [keyDigits, cipherDigits] : kKeysAndCiphers) {
    const ByteVector key = fromHex(keyDigits), cipher = fromHex(cipherDigits);
    ByteVector plain = fromHex(kPlain);
    for (const int last : {0, 1, 15, 16, 17, 200, 255}) {
      plain[15] = static_cast<unsigned char>(last);
      ByteVector longIv = ivFor(plain);
      longIv.push_back(0xFF);
      if (last > 16) {
        EXPECT_THAT([&] { decrypt(cipher, longIv, key); }, throwsTooLong());
        continue;
      }
      const ByteVector expected(plain.begin(), plain.end() - last);
      EXPECT_EQ(decrypt(cipher, ivFor(plain), key), expected);
      EXPECT_EQ(decrypt(cipher, longIv, key), expected);
    }
  }

  // More than a block may go: a block's ciphertext 32 times, of which all but the first are alike.
  const ByteVector cipher = fromHex(kKeysAndCiphers[0].second);
  const ByteVector chained = exclusiveOr(exclusiveOr(fromHex(kPlain), fromHex(kIv)), cipher);
  ByteVector many, expected = fromHex(kPlain);
  for (int block = 0; block < 32; ++block) {
    many.insert(many.end(), cipher.begin(), cipher.end());
    if (block != 0) expected.insert(expected.end(), chained.begin(), chained.end());
  }
  ASSERT_GT(expected.back(), 16);
  expected.resize(512U - expected.back());
  EXPECT_EQ(decrypt(many, fromHex(kIv), fromHex(kKeysAndCiphers[0].first)), expected);
}

TEST(Crypto, RefusesWithAMessage) {
  const struct {
    std::size_t bufferSize, keySize;
    const char* message;
  } cases[] = {{64, 15, "**** Error 0xc000000d returned by BCryptGenerateSymmetricKey\n"},
               {63, 16, "**** Error 0xc0000206 returned by BCryptDecrypt\n"},
               {0, 16, ""}};
  for (const auto& [bufferSize, keySize, message] : cases) {
    const ByteVector cipher(bufferSize, 1);
    const ByteVector key(keySize, 1);
    const auto printed =
        printedBy([&] { EXPECT_EQ(decrypt(cipher, fromHex(kIv), key), ByteVector()); });
    EXPECT_EQ(printed.out, message);
  }
}

TEST(Crypto, DecryptsFiles) {
  const TemporaryDirectory folder;
  const ByteVector cipher = fromHex(kKeysAndCiphers[2].second), plain(16, 1);
  ByteVector iv = ivFor(plain), key = fromHex(kKeysAndCiphers[2].first), mask = key;
  std::reverse(mask.begin(), mask.end());
  ByteVector callers = exclusiveOr(key, mask);
  const auto read = [&](const std::string& file, unsigned char* anyKey) {
    return Crypto::decryptFile(file.c_str(), iv.data(), 16, anyKey, 32, mask.data());
  };
  const std::string sealed = folder.write("sealed", cipher);
  EXPECT_EQ(read(sealed, callers.data()), ByteVector(15, 1));
  EXPECT_EQ(Crypto::decryptFile(sealed.c_str(), nullptr, 0, nullptr, 0, nullptr), cipher);
  EXPECT_EQ(read(folder.write("empty", ""), callers.data()), ByteVector());
  EXPECT_THAT([&] { read(folder / "missing", callers.data()); }, throwsTooLong());
  EXPECT_THAT([&] { read(folder / "missing", nullptr); }, throwsTooLong());
}

// FIPS 180-2, B.3, and the digest of nothing.
TEST(Crypto, HashesPublishedVectors) {
  const std::pair<std::size_t, const char*> cases[] = {
      {0, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {1000000, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"}};
  for (const auto& [size, digest] : cases) {
    ByteVector bytes(size, 'a');
    EXPECT_EQ(Crypto::hashBuffer(bytes.data(), static_cast<int>(size)), fromHex(digest));
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
#if defined(__linux__) && defined(__x86_64__)  // emulators of others leave such advice out
// Every mapping's flags stand in a line of their own behind the line of its addresses.
TEST(ByteVector, LargeBlocksStayOutOfCoreFiles) {
  const ByteVector block(std::size_t{5} << 20);
  const auto address = reinterpret_cast<std::uintptr_t>(block.data());
  std::ifstream list("/proc/self/smaps");
  bool isHere = false, isLeftOut = false;
  for (std::string line; std::getline(list, line);) {
    unsigned long start = 0, end = 0;
    if (std::sscanf(line.c_str(), "%lx-%lx ", &start, &end) == 2) {
      isHere = start <= address && address < end;
    }
    if (isHere && line.starts_with("VmFlags:")) isLeftOut = line.find(" dd") != std::string::npos;
  }
  if (std::getenv("QEMU_LD_PREFIX") != nullptr)
    GTEST_SKIP() << "the emulator has a list of its own";
  EXPECT_TRUE(isLeftOut);
}
#endif

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
