// Windows' cryptography, scripted: every call is made to fail alone, and what was made before it is
// released in order. What the calls are given shows over the real ones.
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

#include "ombrel/platform/crypto.h"

#include "support.h"
#include "system/windows/windows_calls.h"

namespace {

std::string failing, events;                // the call that fails; the calls so far
char provider, key, hash;                   // whose addresses are the handles
std::map<const void*, std::string> blocks;  // of the heap, by their roles

NTSTATUS record(const std::string& call) {
  events += call + " ";
  return call == failing ? static_cast<NTSTATUS>(0xC0DE0001) : 0;
}
NTSTATUS give(const std::string& call, void* made, void** handle) {
  const NTSTATUS status = record(call);
  if (status >= 0) *handle = made;
  return status;
}
NTSTATUS takeBack(const std::string& call, const void* expected, const void* handle) {
  EXPECT_EQ(handle, expected) << call;
  return record(call);
}

HANDLE scriptedHeap() {
  return &blocks;
}
void* scriptedAlloc(HANDLE /*heap*/, DWORD /*flags*/, SIZE_T size) {
  const std::string role = size == 100 ? "object" : size == 16 ? "iv" : "digest";
  if (record("HeapAlloc:" + role) < 0) return nullptr;
  void* block = std::malloc(size);
  blocks[block] = role;
  return block;
}
BOOL scriptedFree(HANDLE /*heap*/, DWORD /*flags*/, void* block) {
  record("HeapFree:" + blocks.at(block));
  std::free(block);
  return 1;
}

}  // namespace

NTSTATUS BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* made, const wchar_t*, const wchar_t*,
                                     ULONG) {
  return give("OpenAlgorithmProvider", &provider, made);
}
NTSTATUS BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE handle, ULONG) {
  return takeBack("CloseAlgorithmProvider", &provider, handle);
}
NTSTATUS BCryptGetProperty(BCRYPT_HANDLE, const wchar_t* property, PUCHAR value, ULONG, ULONG*,
                           ULONG) {
  const char first = static_cast<char>(*property);
  *reinterpret_cast<DWORD*>(value) = first == 'O' ? 100 : first == 'B' ? 16 : 32;
  return record(std::string("GetProperty:") + first);
}
NTSTATUS BCryptSetProperty(BCRYPT_HANDLE, const wchar_t*, PUCHAR, ULONG, ULONG) {
  return record("SetProperty");
}
NTSTATUS BCryptGenerateSymmetricKey(BCRYPT_ALG_HANDLE, BCRYPT_KEY_HANDLE* made, PUCHAR object,
                                    ULONG, PUCHAR, ULONG, ULONG) {
  EXPECT_EQ(blocks[object], "object");
  return give("GenerateSymmetricKey", &key, made);
}
NTSTATUS BCryptDecrypt(BCRYPT_KEY_HANDLE handle, PUCHAR, ULONG size, void*, PUCHAR iv, ULONG,
                       PUCHAR output, ULONG, ULONG* resultSize, ULONG) {
  EXPECT_EQ(blocks[iv], "iv");
  *resultSize = size;
  return takeBack(output == nullptr ? "Decrypt:size" : "Decrypt", &key, handle);
}
NTSTATUS BCryptDestroyKey(BCRYPT_KEY_HANDLE handle) {
  return takeBack("DestroyKey", &key, handle);
}
NTSTATUS BCryptCreateHash(BCRYPT_ALG_HANDLE, BCRYPT_HASH_HANDLE* made, PUCHAR object, ULONG, PUCHAR,
                          ULONG, ULONG) {
  EXPECT_EQ(blocks[object], "object");
  return give("CreateHash", &hash, made);
}
NTSTATUS BCryptHashData(BCRYPT_HASH_HANDLE, PUCHAR, ULONG, ULONG) {
  return record("HashData");
}
NTSTATUS BCryptFinishHash(BCRYPT_HASH_HANDLE, PUCHAR output, ULONG, ULONG) {
  EXPECT_EQ(blocks[output], "digest");
  return record("FinishHash");
}
NTSTATUS BCryptDestroyHash(BCRYPT_HASH_HANDLE handle) {
  return takeBack("DestroyHash", &hash, handle);
}
// Callers go through these pointers, which the linker would else take from the import library.
extern "C" {
HANDLE (*__imp_GetProcessHeap)() = scriptedHeap;
void* (*__imp_HeapAlloc)(HANDLE, DWORD, SIZE_T) = scriptedAlloc;
BOOL (*__imp_HeapFree)(HANDLE, DWORD, void*) = scriptedFree;
}

namespace OMB {
namespace {

// What undoes a call, in the order in which it has to happen.
constexpr std::pair<const char*, const char*> kReleases[] = {
    {"OpenAlgorithmProvider", "CloseAlgorithmProvider "},
    {"GenerateSymmetricKey", "DestroyKey "},
    {"CreateHash", "DestroyHash "},
    {"HeapAlloc:object", "HeapFree:object "},
    {"HeapAlloc:iv", "HeapFree:iv "},
    {"HeapAlloc:digest", "HeapFree:digest "},
};

void expectReleases(const std::string& calls, void (*operation)(unsigned char* input)) {
  std::istringstream words(calls + " nothing");
  std::string made;
  for (std::string call; words >> call; made += call + " ") {
    failing = call;
    events.clear();
    std::string expected = call == "nothing" ? made : made + call + " ";
    for (const auto& [make, release] : kReleases) {
      if (made.find(make) != std::string::npos) expected += release;
    }
    unsigned char input[32] = {};
    test::printedBy([&] { operation(input); });
    EXPECT_EQ(events, expected) << call;
  }
}

TEST(WindowsCng, ReleasesInOrderWhateverFails) {
  expectReleases(
      "OpenAlgorithmProvider GetProperty:O HeapAlloc:object GetProperty:B HeapAlloc:iv SetProperty "
      "GenerateSymmetricKey Decrypt:size Decrypt",
      [](unsigned char* input) { (void)Crypto::decryptBuffer(input, 32, input, 16, input, 16); });
  expectReleases(
      "OpenAlgorithmProvider GetProperty:O HeapAlloc:object GetProperty:H HeapAlloc:digest "
      "CreateHash HashData FinishHash",
      [](unsigned char* input) { (void)Crypto::hashBuffer(input, 32); });
}

}  // namespace
}  // namespace OMB
