// What the users of Windows' cryptography share.
#pragma once

#include "system/status.h"
#include "system/windows/windows_calls.h"

namespace OMB::system {

/// A handle of the provider, released by its own call, whose result nobody could act on.
template <auto release>
class Handle {
 public:
  Handle() = default;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (value != nullptr) release(value);
  }

  void** out() { return &value; }
  void* get() const { return value; }

 private:
  void* value = nullptr;
};

inline void closeProvider(BCRYPT_ALG_HANDLE provider) {
  BCryptCloseAlgorithmProvider(provider, 0);
}
using Provider = Handle<closeProvider>;

inline void destroyKey(BCRYPT_KEY_HANDLE key) {
  BCryptDestroyKey(key);
}

inline void destroyHash(BCRYPT_HASH_HANDLE hash) {
  BCryptDestroyHash(hash);
}

/// A raw block of the process heap.
class HeapBlock {
 public:
  HeapBlock() = default;
  HeapBlock(const HeapBlock&) = delete;
  HeapBlock& operator=(const HeapBlock&) = delete;
  ~HeapBlock() {
    if (block != nullptr) HeapFree(GetProcessHeap(), 0, block);
  }

  bool allocate(ULONG size) {
    block = static_cast<PUCHAR>(HeapAlloc(GetProcessHeap(), 0, size));
    length = size;
    return block != nullptr;
  }
  PUCHAR data() const { return block; }
  ULONG size() const { return length; }

 private:
  PUCHAR block = nullptr;
  ULONG length = 0;
};

inline Status getProperty(const Provider& provider, const wchar_t* name, ULONG& length) {
  DWORD value = 0;
  ULONG written = 0;
  const Status status = BCryptGetProperty(provider.get(), name, reinterpret_cast<PUCHAR>(&value),
                                          sizeof(value), &written, 0);
  length = value;
  return status;
}

/// The calls take writable bytes, and write none.
inline PUCHAR writable(const unsigned char* bytes) {
  return const_cast<PUCHAR>(bytes);
}

}  // namespace OMB::system
