// Windows' cryptography, scripted: every call is made to fail alone, and what is released, and in
// which order, is compared. What the calls are given shows over the real ones.
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ombrel/platform/crypto.h"

#include "support.h"
#include "system/windows/windows_calls.h"

namespace {

// What the platform was asked for, in order, and which of it is to fail.
struct Script {
  std::string failing;                        // an event, or nothing
  std::string events;                         // each with a space behind
  std::map<std::string, char> handles;        // at these addresses
  std::map<const void*, std::string> blocks;  // of the heap, by their roles
};
Script script;

NTSTATUS record(const std::string& event) {
  script.events += event + " ";
  return event == script.failing ? static_cast<NTSTATUS>(0xC0DE0001) : 0;
}

NTSTATUS give(const std::string& name, const std::string& event, void** handle) {
  const NTSTATUS status = record(event);
  if (status >= 0) *handle = &script.handles[name];
  return status;
}

NTSTATUS takeBack(const std::string& name, void* handle, const std::string& event) {
  EXPECT_EQ(handle, &script.handles[name]);
  return record(event);
}

std::string narrow(const wchar_t* text) {
  return {text, text + std::wcslen(text)};
}

}  // namespace

NTSTATUS BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* algorithm, const wchar_t* name,
                                     const wchar_t*, ULONG) {
  return give("provider", "OpenAlgorithmProvider:" + narrow(name), algorithm);
}
NTSTATUS BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE algorithm, ULONG) {
  return takeBack("provider", algorithm, "CloseAlgorithmProvider");
}
NTSTATUS BCryptGetProperty(BCRYPT_HANDLE, const wchar_t* property, PUCHAR value, ULONG, ULONG*,
                           ULONG) {
  const std::string name = narrow(property);
  const NTSTATUS status = record("GetProperty:" + name);
  const DWORD length = name == "ObjectLength" ? 100 : name == "BlockLength" ? 16 : 32;
  if (status >= 0) std::memcpy(value, &length, sizeof(length));
  return status;
}
NTSTATUS BCryptSetProperty(BCRYPT_HANDLE, const wchar_t* property, PUCHAR, ULONG, ULONG) {
  return record("SetProperty:" + narrow(property));
}
NTSTATUS BCryptGenerateSymmetricKey(BCRYPT_ALG_HANDLE, BCRYPT_KEY_HANDLE* key, PUCHAR object, ULONG,
                                    PUCHAR, ULONG, ULONG) {
  EXPECT_EQ(script.blocks[object], "object");
  return give("key", "GenerateSymmetricKey", key);
}
NTSTATUS BCryptDecrypt(BCRYPT_KEY_HANDLE key, PUCHAR input, ULONG inputSize, void*, PUCHAR iv,
                       ULONG, PUCHAR output, ULONG, ULONG* resultSize, ULONG) {
  EXPECT_EQ(script.blocks[iv], "iv");
  *resultSize = inputSize;
  if (output == nullptr) return takeBack("key", key, "Decrypt:size");
  std::memcpy(output, input, inputSize);
  return takeBack("key", key, "Decrypt");
}
NTSTATUS BCryptDestroyKey(BCRYPT_KEY_HANDLE key) {
  return takeBack("key", key, "DestroyKey");
}
NTSTATUS BCryptCreateHash(BCRYPT_ALG_HANDLE, BCRYPT_HASH_HANDLE* hash, PUCHAR object, ULONG, PUCHAR,
                          ULONG, ULONG) {
  EXPECT_EQ(script.blocks[object], "object");
  return give("hash", "CreateHash", hash);
}
NTSTATUS BCryptHashData(BCRYPT_HASH_HANDLE, PUCHAR, ULONG, ULONG) {
  return record("HashData");
}
NTSTATUS BCryptFinishHash(BCRYPT_HASH_HANDLE, PUCHAR output, ULONG size, ULONG) {
  EXPECT_EQ(script.blocks[output], "digest");
  std::memset(output, 'd', size);
  return record("FinishHash");
}
NTSTATUS BCryptDestroyHash(BCRYPT_HASH_HANDLE hash) {
  return takeBack("hash", hash, "DestroyHash");
}

static HANDLE scriptedHeap() {
  return &script;
}
static void* scriptedAlloc(HANDLE heap, DWORD, SIZE_T size) {
  EXPECT_EQ(heap, &script);
  const std::string role = size == 100 ? "object" : size == 16 ? "iv" : "digest";
  if (record("HeapAlloc:" + role) < 0) return nullptr;
  void* block = std::malloc(size);
  std::memset(block, 0xA5, size);
  script.blocks[block] = role;
  return block;
}
static BOOL scriptedFree(HANDLE, DWORD, void* block) {
  record("HeapFree:" + script.blocks.at(block));
  std::free(block);
  return 1;
}

// Callers go through these pointers, which the linker would else take from the import library.
extern "C" {
HANDLE (*__imp_GetProcessHeap)() = scriptedHeap;
void* (*__imp_HeapAlloc)(HANDLE, DWORD, SIZE_T) = scriptedAlloc;
BOOL (*__imp_HeapFree)(HANDLE, DWORD, void*) = scriptedFree;
}

namespace OMB {
namespace {

// What undoes a step, in the order in which it has to happen.
constexpr std::pair<const char*, const char*> kReleases[] = {
    {"OpenAlgorithmProvider", "CloseAlgorithmProvider "},
    {"GenerateSymmetricKey", "DestroyKey "},
    {"CreateHash", "DestroyHash "},
    {"HeapAlloc:object", "HeapFree:object "},
    {"HeapAlloc:iv", "HeapFree:iv "},
    {"HeapAlloc:digest", "HeapFree:digest "},
};

std::string messageOf(const std::string& failing) {
  if (failing.empty()) return "";
  if (failing.starts_with("Heap")) return "**** memory allocation failed\n";
  const std::string call = failing.substr(0, failing.find(':'));
  return "**** Error 0xc0de0001 returned by BCrypt" + call + "\n";
}

// Runs the operation on 32 bytes with one event failing, and compares what is done and printed.
template <typename Operation>
ByteVector runWith(const std::string& failing, const std::string& events,
                   const std::string& message, const Operation& operation) {
  SCOPED_TRACE(failing);
  script = Script();
  script.failing = failing;
  ByteVector input(32, 'x'), result;
  input.back() = 2;
  const auto printed = test::printedBy([&] { result = operation(input.data()); });
  EXPECT_EQ(script.events, events);
  EXPECT_EQ(printed.out, message);
  EXPECT_EQ(printed.error, "");
  return result;
}

// The results with each of the steps failing, and with none.
template <typename Operation>
std::vector<ByteVector> failEach(const std::string& steps, const Operation& operation) {
  std::vector<ByteVector> results;
  std::istringstream words(steps + " .");
  std::string made;
  for (std::string step; words >> step; made += step + " ") {
    const std::string failing = step == "." ? "" : step;
    std::string expected = failing.empty() ? made : made + step + " ";
    for (const auto& [make, release] : kReleases) {
      if (made.find(make) != std::string::npos) expected += release;
    }
    results.push_back(runWith(failing, expected, messageOf(failing), operation));
  }
  return results;
}

ByteVector decrypt(unsigned char* input, int ivSize) {
  unsigned char iv[20] = {}, key[16] = {};
  return Crypto::decryptBuffer(input, 32, iv, ivSize, key, sizeof(key));
}

ByteVector decryptInPlace(unsigned char* input) {
  unsigned char iv[16] = {}, key[16] = {};
  return Crypto::decryptBuffer(ByteVector(input, input + 32), iv, sizeof(iv), key, sizeof(key));
}

TEST(WindowsCng, DecryptionReleasesInOrderWhateverFails) {
  const std::string start =
      "OpenAlgorithmProvider:AES GetProperty:ObjectLength HeapAlloc:object "
      "GetProperty:BlockLength ";
  std::vector<ByteVector> expected(10);
  // The last call can fail with the whole length already there: its trailing bytes stay on.
  expected[8].assign(32, 'x');
  expected[8].back() = 2;
  expected[9].assign(30, 'x');
  const std::string steps = start +
                            "HeapAlloc:iv SetProperty:ChainingMode GenerateSymmetricKey "
                            "Decrypt:size Decrypt";
  EXPECT_EQ(failEach(steps, [](unsigned char* input) { return decrypt(input, 20); }), expected);
  expected[8].assign(32, 0);  // where it would be what is left of the ciphertext
  EXPECT_EQ(failEach(steps, decryptInPlace), expected);
  EXPECT_EQ(runWith("", start + "CloseAlgorithmProvider HeapFree:object ",
                    "**** block length is longer than the provided IV length\n",
                    [](unsigned char* input) { return decrypt(input, 15); }),
            ByteVector());
}

TEST(WindowsCng, HashingReleasesInOrderWhateverFails) {
  std::vector<ByteVector> expected(9);
  expected.back().assign(32, 'd');
  EXPECT_EQ(failEach("OpenAlgorithmProvider:SHA256 GetProperty:ObjectLength HeapAlloc:object "
                     "GetProperty:HashDigestLength HeapAlloc:digest CreateHash HashData FinishHash",
                     [](unsigned char* input) { return Crypto::hashBuffer(input, 32); }),
            expected);
}

}  // namespace
}  // namespace OMB
