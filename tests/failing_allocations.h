// Memory that runs out where a test wants it to. For one source file of a program, which is linked
// with --wrap of malloc, calloc, free and mmap: so all that is linked into the program is counted,
// and what the system's libraries take for themselves is not.
#pragma once

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>

#include <gtest/gtest.h>
#include <openssl/crypto.h>

namespace OMB::test {

inline thread_local int untilFailure = 0;  // 0: nothing fails; -1: it has failed
inline thread_local int spared = 0;
inline std::atomic<long> liveBlocks{0};
inline std::string_view secret;  // what no block may hold when it is given back; empty for nothing
inline std::atomic<long> toldSecrets{0};

/// For what a test's own parts allocate: while one lives, nothing fails in this thread.
struct Spared {
  Spared() { ++spared; }
  ~Spared() { --spared; }
};

inline bool fails() {
  if (spared != 0 || untilFailure <= 0 || --untilFailure != 0) return false;
  untilFailure = -1;
  return true;
}

inline void lookAt(void* block) {
  if (secret.empty() || block == nullptr || spared != 0) return;
  const std::string_view bytes(static_cast<const char*>(block), malloc_usable_size(block));
  toldSecrets += bytes.find(secret) != std::string_view::npos;
}

inline void* counted(void* block) {
  liveBlocks += block != nullptr;
  return block;
}

/// Runs `road` once for each allocation of its thread, that one failing: it returns, or
/// std::bad_alloc leaves it, or the std::length_error of a file whose size was not to be had. After
/// each, `after` is run, with memory enough, and no block may be left. Returns how many there were.
template <typename Road, typename After>
int failEachAllocation(Road road, After after) {
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
void* __real_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at);

void* __wrap_malloc(std::size_t size) {
  return OMB::test::fails() ? nullptr : OMB::test::counted(__real_malloc(size));
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return OMB::test::fails() ? nullptr : OMB::test::counted(__real_calloc(count, size));
}
void __wrap_free(void* block) {
  OMB::test::liveBlocks -= block != nullptr;
  OMB::test::lookAt(block);
  __real_free(block);
}
void* __wrap_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at) {
  return OMB::test::fails() ? MAP_FAILED : __real_mmap(address, size, protection, flags, file, at);
}
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

// Libcrypto's blocks fail as well, but are not counted: it keeps the texts of its errors.
[[maybe_unused]] static const int cryptoFails =
    CRYPTO_set_mem_functions([](std::size_t size, const char*,
                                int) { return OMB::test::fails() ? nullptr : __real_malloc(size); },
                             [](void* block, std::size_t size, const char*, int) {
                               return OMB::test::fails() ? nullptr : std::realloc(block, size);
                             },
                             [](void* block, const char*, int) { __real_free(block); });
