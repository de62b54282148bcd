#include "failing_allocations.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#if defined(_WIN32)
#define malloc_usable_size _msize
#define PER_THREAD  // which would allocate, and there is one thread only
#else
#include <sys/mman.h>

#include <openssl/crypto.h>
#define PER_THREAD thread_local
#endif

namespace {

using OMB::test::secret;
using OMB::test::toldSecrets;

PER_THREAD int untilFailure = 0;  // 0: nothing fails; -1: it has failed
PER_THREAD int spared = 0;
std::atomic<long> liveBlocks{0};

bool fails() {
  if (spared != 0 || untilFailure <= 0 || --untilFailure != 0) return false;
  untilFailure = -1;
  return true;
}

void lookAt(void* block) {
  if (secret.empty() || block == nullptr || spared != 0) return;
  const std::string_view bytes(static_cast<const char*>(block), malloc_usable_size(block));
  toldSecrets += bytes.find(secret) != std::string_view::npos;
}

void* counted(void* block) {
  liveBlocks += block != nullptr;
  return block;
}

}  // namespace

namespace OMB::test {

Spared::Spared() {
  ++spared;
}
Spared::~Spared() {
  --spared;
}

int failEachAllocation(const std::function<void()>& road, const std::function<void()>& after) {
  road();  // fills what is made once and kept
  after();
  for (int number = 1;; ++number) {
    SCOPED_TRACE(number);
    const long before = liveBlocks;
    untilFailure = number;
    try {
      road();
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {
    }
    const bool failed = std::exchange(untilFailure, 0) < 0;
    after();
    EXPECT_EQ(liveBlocks, before);
    if (!failed) return number - 1;
  }
}

}  // namespace OMB::test

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
  return fails() ? nullptr : counted(__real_malloc(size));
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return fails() ? nullptr : counted(__real_calloc(count, size));
}
void __wrap_free(void* block) {
  liveBlocks -= block != nullptr;
  lookAt(block);
  __real_free(block);
}
#if !defined(_WIN32)
void* __real_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at);
void* __wrap_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at) {
  return fails() ? MAP_FAILED : __real_mmap(address, size, protection, flags, file, at);
}
#endif
}

// Not inlined, where the compiler would take the pair for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* block = std::malloc(size + (size == 0));
  return block != nullptr ? block : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size + (size == 0));
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

#if !defined(_WIN32)
namespace {

// Libcrypto's blocks fail as well, but are not counted: it keeps the texts of its errors.
[[maybe_unused]] const int cryptoFails = CRYPTO_set_mem_functions(
    [](std::size_t size, const char*, int) { return fails() ? nullptr : __real_malloc(size); },
    [](void* block, std::size_t size, const char*, int) {
      return fails() ? nullptr : std::realloc(block, size);
    },
    [](void* block, const char*, int) { __real_free(block); });

}  // namespace
#endif
