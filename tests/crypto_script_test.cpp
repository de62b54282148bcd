// Crypto over a scripted platform: every step is made to fail alone, and what is printed, returned
// and released, and in which order, is compared.
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "ombrel/platform/crypto.h"

#include "scripted_call.h"
#include "support.h"

namespace {

// What the platform was asked for, in order, and which of it is to fail.
struct Script {
  std::string failing;  // an event, or nothing
  std::vector<std::string> events;
  std::map<const void*, std::string> blocks;  // by their roles, in the order of allocation
  std::vector<std::string> roles;
  unsigned char algorithm = 0, key = 0, hash = 0;
};
Script script;

constexpr NTSTATUS kFailure = static_cast<NTSTATUS>(0xC0DE0001);

NTSTATUS record(std::string event) {
  script.events.push_back(event);
  return event == script.failing ? kFailure : 0;
}

std::string narrow(const wchar_t* text) {
  return {text, text + std::wcslen(text)};
}

}  // namespace

NTSTATUS BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* algorithm, const wchar_t* name,
                                     const wchar_t*, ULONG) {
  const NTSTATUS status = record("open " + narrow(name));
  if (status >= 0) *algorithm = &script.algorithm;
  return status;
}
NTSTATUS BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE algorithm, ULONG) {
  EXPECT_EQ(algorithm, &script.algorithm);
  return record("close");
}
NTSTATUS BCryptGetProperty(BCRYPT_HANDLE, const wchar_t* property, PUCHAR value, ULONG size, ULONG*,
                           ULONG) {
  const std::string name = narrow(property);
  const NTSTATUS status = record("get " + name);
  const DWORD length = name == "ObjectLength" ? 100 : name == "BlockLength" ? 16 : 32;
  EXPECT_EQ(size, sizeof(length));
  if (status >= 0) std::memcpy(value, &length, sizeof(length));
  return status;
}
NTSTATUS BCryptSetProperty(BCRYPT_HANDLE, const wchar_t* property, PUCHAR value, ULONG size,
                           ULONG) {
  const wchar_t mode[] = L"ChainingModeCBC";
  EXPECT_EQ(size, sizeof(mode));
  EXPECT_EQ(std::memcmp(value, mode, sizeof(mode)), 0);
  return record("set " + narrow(property));
}
NTSTATUS BCryptGenerateSymmetricKey(BCRYPT_ALG_HANDLE, BCRYPT_KEY_HANDLE* key, PUCHAR object,
                                    ULONG size, PUCHAR, ULONG secretSize, ULONG) {
  EXPECT_EQ(script.blocks[object], "object");
  EXPECT_EQ(size, 100u);
  EXPECT_EQ(secretSize, 16u);
  const NTSTATUS status = record("generate");
  if (status >= 0) *key = &script.key;
  return status;
}
NTSTATUS BCryptDecrypt(BCRYPT_KEY_HANDLE key, PUCHAR input, ULONG inputSize, void* padding,
                       PUCHAR iv, ULONG ivSize, PUCHAR output, ULONG outputSize, ULONG* resultSize,
                       ULONG flags) {
  EXPECT_EQ(key, &script.key);
  EXPECT_TRUE(padding == nullptr && flags == 0);
  EXPECT_EQ(script.blocks[iv], "iv");
  EXPECT_EQ(std::string(iv, iv + ivSize), std::string(16, 'v'));
  *resultSize = inputSize;
  const NTSTATUS status = record(output == nullptr ? "decrypt size" : "decrypt");
  if (output != nullptr) {
    EXPECT_EQ(outputSize, inputSize);
    std::memcpy(output, input, inputSize);
    std::memset(iv, 0, ivSize);
  }
  return status;
}
NTSTATUS BCryptDestroyKey(BCRYPT_KEY_HANDLE key) {
  EXPECT_EQ(key, &script.key);
  return record("destroy key");
}
NTSTATUS BCryptCreateHash(BCRYPT_ALG_HANDLE, BCRYPT_HASH_HANDLE* hash, PUCHAR object, ULONG size,
                          PUCHAR, ULONG, ULONG) {
  EXPECT_EQ(script.blocks[object], "object");
  EXPECT_EQ(size, 100u);
  const NTSTATUS status = record("create");
  if (status >= 0) *hash = &script.hash;
  return status;
}
NTSTATUS BCryptHashData(BCRYPT_HASH_HANDLE, PUCHAR, ULONG size, ULONG) {
  EXPECT_EQ(size, 32u);
  return record("data");
}
NTSTATUS BCryptFinishHash(BCRYPT_HASH_HANDLE, PUCHAR output, ULONG size, ULONG) {
  EXPECT_EQ(script.blocks[output], "digest");
  EXPECT_EQ(size, 32u);
  std::memset(output, 'd', size);
  return record("finish");
}
NTSTATUS BCryptDestroyHash(BCRYPT_HASH_HANDLE hash) {
  EXPECT_EQ(hash, &script.hash);
  return record("destroy hash");
}
SCRIPTED_CALL(HANDLE, GetProcessHeap, ()) {
  return &script;
}
SCRIPTED_CALL(void*, HeapAlloc, (HANDLE heap, DWORD, std::size_t size)) {
  EXPECT_EQ(heap, &script);
  const std::string role = script.roles.at(script.blocks.size());
  if (record("allocate " + role) < 0) return nullptr;
  void* block = std::malloc(size);
  std::memset(block, 0xA5, size);
  script.blocks[block] = role;
  return block;
}
SCRIPTED_CALL(BOOL, HeapFree, (HANDLE, DWORD, void* block)) {
  record("free " + script.blocks.at(block));
  std::free(block);
  return 1;
}

namespace OMB {
namespace {

using Events = std::vector<std::string>;

struct Case {
  const char* failing;
  const char* message;  // without the prefix and the line end
  Events released;
};

std::string wholeMessage(const std::string& message) {
  return message.empty() ? "" : "**** " + message + "\n";
}

// Runs the operation with one step failing. Returns the result and compares all else with the case.
ByteVector runWith(const Case& c, const Events& steps, Events roles,
                   ByteVector (*operation)(ByteVector&)) {
  script = Script();
  script.failing = c.failing;
  script.roles = std::move(roles);
  ByteVector input(32, 'x');
  input.back() = 2;
  ByteVector result;
  const auto printed = test::printedBy([&] { result = operation(input); });

  Events expected;
  for (const std::string& step : steps) {
    expected.push_back(step);
    if (step == c.failing) break;
  }
  expected.insert(expected.end(), c.released.begin(), c.released.end());
  EXPECT_EQ(script.events, expected);
  EXPECT_EQ(printed.out, wholeMessage(c.message));
  EXPECT_EQ(printed.error, "");
  return result;
}

TEST(CryptoScript, DecryptionReleasesInOrderWhateverFails) {
  const Events steps = {"open AES",        "get ObjectLength", "allocate object",
                        "get BlockLength", "allocate iv",      "set ChainingMode",
                        "generate",        "decrypt size",     "decrypt"};
  const Events all = {"close", "destroy key", "free object", "free iv"};
  const Case cases[] = {
      {"", "", all},
      {"open AES", "Error 0xc0de0001 returned by BCryptOpenAlgorithmProvider", {}},
      {"get ObjectLength", "Error 0xc0de0001 returned by BCryptGetProperty", {"close"}},
      {"allocate object", "memory allocation failed", {"close"}},
      {"get BlockLength",
       "Error 0xc0de0001 returned by BCryptGetProperty",
       {"close", "free object"}},
      {"allocate iv", "memory allocation failed", {"close", "free object"}},
      {"set ChainingMode",
       "Error 0xc0de0001 returned by BCryptSetProperty",
       {"close", "free object", "free iv"}},
      {"generate",
       "Error 0xc0de0001 returned by BCryptGenerateSymmetricKey",
       {"close", "free object", "free iv"}},
      {"decrypt size", "Error 0xc0de0001 returned by BCryptDecrypt", all},
      {"decrypt", "Error 0xc0de0001 returned by BCryptDecrypt", all},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.failing);
    const ByteVector result = runWith(c, steps, {"object", "iv"}, [](ByteVector& input) {
      unsigned char iv[20];
      unsigned char key[16] = {};
      std::memset(iv, 'v', sizeof(iv));
      return Crypto::decryptBuffer(input.data(), 32, iv, sizeof(iv), key, sizeof(key));
    });
    // The last call can fail with the whole length already there: its trailing bytes stay on.
    const std::string failing = c.failing;
    EXPECT_EQ(result.size(), failing.empty() ? 30u : failing == "decrypt" ? 32u : 0u);
  }
}

TEST(CryptoScript, ShortIvReleasesWhatThereIs) {
  const Case c = {"get BlockLength",
                  "block length is longer than the provided IV length",
                  {"close", "free object"}};
  const Events steps = {"open AES", "get ObjectLength", "allocate object", "get BlockLength"};
  const ByteVector result =
      runWith({"", c.message, c.released}, steps, {"object"}, [](ByteVector& input) {
        unsigned char block[16] = {};
        return Crypto::decryptBuffer(input.data(), 32, block, 15, block, 16);
      });
  EXPECT_TRUE(result.empty());
}

TEST(CryptoScript, HashingReleasesInOrderWhateverFails) {
  const Events steps = {"open SHA256",
                        "get ObjectLength",
                        "allocate object",
                        "get HashDigestLength",
                        "allocate digest",
                        "create",
                        "data",
                        "finish"};
  const Events all = {"close", "destroy hash", "free object", "free digest"};
  const Case cases[] = {
      {"", "", all},
      {"open SHA256", "Error 0xc0de0001 returned by BCryptOpenAlgorithmProvider", {}},
      {"get ObjectLength", "Error 0xc0de0001 returned by BCryptGetProperty", {"close"}},
      {"allocate object", "memory allocation failed", {"close"}},
      {"get HashDigestLength",
       "Error 0xc0de0001 returned by BCryptGetProperty",
       {"close", "free object"}},
      {"allocate digest", "memory allocation failed", {"close", "free object"}},
      {"create",
       "Error 0xc0de0001 returned by BCryptCreateHash",
       {"close", "free object", "free digest"}},
      {"data", "Error 0xc0de0001 returned by BCryptHashData", all},
      {"finish", "Error 0xc0de0001 returned by BCryptFinishHash", all},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.failing);
    const ByteVector result = runWith(c, steps, {"object", "digest"}, [](ByteVector& input) {
      return Crypto::hashBuffer(input.data(), 32);
    });
    EXPECT_EQ(result, *c.failing == '\0' ? ByteVector(32, 'd') : ByteVector());
  }
}

}  // namespace
}  // namespace OMB
