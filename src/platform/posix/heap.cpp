// The process heap over the C library's.
#include <cstdlib>
#include <cstring>

#include "platform/posix/posix_calls.h"

HANDLE GetProcessHeap() {
  static char heap;  // there is one heap: its handle only has to be told from null
  return &heap;
}

void* HeapAlloc(HANDLE /*heap*/, DWORD /*flags*/, std::size_t size) {
  return std::malloc(size + (size == 0));
}

BOOL HeapFree(HANDLE /*heap*/, DWORD /*flags*/, void* block) {
  std::free(block);
  return 1;
}

void* SecureZeroMemory(void* block, std::size_t size) {
  explicit_bzero(block, size);
  return block;
}
