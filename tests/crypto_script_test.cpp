// Crypto over a scripted platform: every step is made to fail alone, and what is printed, returned
// and released, and in which order, is compared.
#include <algorithm>
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

struct Step {
  std::string event;
  std::string call;     // that a failure is told of; empty for an allocation
  std::string release;  // what a success makes to be released; empty for nothing
};
const std::string kFree = "free ";

// Runs the operation with one step failing, or none for one past the last, and compares what is
// called, released and printed.
ByteVector runWith(std::size_t failing, const std::vector<Step>& steps, const Events& releaseOrder,
                   ByteVector (*operation)(ByteVector&)) {
  script = Script();
  Events expected, taken;
  std::string message;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const Step& step = steps[i];
    if (step.release.starts_with(kFree)) script.roles.push_back(step.release.substr(5));
    if (i > failing) continue;
    expected.push_back(step.event);
    if (i < failing) {
      taken.push_back(step.release);
      continue;
    }
    script.failing = step.event;
    message = step.call.empty() ? "**** memory allocation failed\n"
                                : "**** Error 0xc0de0001 returned by " + step.call + "\n";
  }
  for (const std::string& release : releaseOrder) {
    if (std::count(taken.begin(), taken.end(), release) != 0) expected.push_back(release);
  }
  ByteVector input(32, 'x');
  input.back() = 2;
  ByteVector result;
  const auto printed = test::printedBy([&] { result = operation(input); });
  EXPECT_EQ(script.events, expected);
  EXPECT_EQ(printed.out, message);
  EXPECT_EQ(printed.error, "");
  return result;
}

TEST(CryptoScript, DecryptionReleasesInOrderWhateverFails) {
  const std::vector<Step> steps = {{"open AES", "BCryptOpenAlgorithmProvider", "close"},
                                   {"get ObjectLength", "BCryptGetProperty", ""},
                                   {"allocate object", "", "free object"},
                                   {"get BlockLength", "BCryptGetProperty", ""},
                                   {"allocate iv", "", "free iv"},
                                   {"set ChainingMode", "BCryptSetProperty", ""},
                                   {"generate", "BCryptGenerateSymmetricKey", "destroy key"},
                                   {"decrypt size", "BCryptDecrypt", ""},
                                   {"decrypt", "BCryptDecrypt", ""}};
  for (std::size_t failing = 0; failing <= steps.size(); ++failing) {
    SCOPED_TRACE(failing);
    const ByteVector result = runWith(
        failing, steps, {"close", "destroy key", "free object", "free iv"}, [](ByteVector& input) {
          unsigned char iv[20], key[16] = {};
          std::memset(iv, 'v', sizeof(iv));
          return Crypto::decryptBuffer(input.data(), 32, iv, sizeof(iv), key, sizeof(key));
        });
    // The last call can fail with the whole length already there: its trailing bytes stay on.
    EXPECT_EQ(result.size(), failing == steps.size() ? 30u : failing == 8 ? 32u : 0u);
  }
}

TEST(CryptoScript, ShortIvReleasesWhatThereIs) {
  script = Script();
  script.roles = {"object"};
  unsigned char block[32] = {};
  const auto printed = test::printedBy(
      [&] { EXPECT_TRUE(Crypto::decryptBuffer(block, 32, block, 15, block, 16).empty()); });
  EXPECT_EQ(printed.out, "**** block length is longer than the provided IV length\n");
  EXPECT_EQ(script.events, (Events{"open AES", "get ObjectLength", "allocate object",
                                   "get BlockLength", "close", "free object"}));
}

TEST(CryptoScript, HashingReleasesInOrderWhateverFails) {
  const std::vector<Step> steps = {{"open SHA256", "BCryptOpenAlgorithmProvider", "close"},
                                   {"get ObjectLength", "BCryptGetProperty", ""},
                                   {"allocate object", "", "free object"},
                                   {"get HashDigestLength", "BCryptGetProperty", ""},
                                   {"allocate digest", "", "free digest"},
                                   {"create", "BCryptCreateHash", "destroy hash"},
                                   {"data", "BCryptHashData", ""},
                                   {"finish", "BCryptFinishHash", ""}};
  for (std::size_t failing = 0; failing <= steps.size(); ++failing) {
    SCOPED_TRACE(failing);
    const ByteVector result =
        runWith(failing, steps, {"close", "destroy hash", "free object", "free digest"},
                [](ByteVector& input) { return Crypto::hashBuffer(input.data(), 32); });
    EXPECT_EQ(result, failing == steps.size() ? ByteVector(32, 'd') : ByteVector());
  }
}

}  // namespace
}  // namespace OMB
