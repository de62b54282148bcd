#include "failing_allocations.h"

#include <atomic>
#include <cstdlib>
#include <sys/mman.h>

#include <openssl/crypto.h>

namespace {

thread_local int untilFailure = 0;  // 0: nothing fails; -1: it has failed
thread_local int spared = 0;
std::atomic<long> liveBlocks{0};

bool fails() {
  if (spared != 0 || untilFailure <= 0 || --untilFailure != 0) return false;
  untilFailure = -1;
  return true;
}

void* counted(void* block) {
  if (block != nullptr) ++liveBlocks;
  return block;
}

}  // namespace

// The linker sends the calls of everything in this program here.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* block);
void* __real_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at);

void* __wrap_malloc(std::size_t size) {
  return fails() ? nullptr : counted(__real_malloc(size));
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return fails() ? nullptr : counted(__real_calloc(count, size));
}
void __wrap_free(void* block) {
  if (block != nullptr) --liveBlocks;
  __real_free(block);
}
void* __wrap_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at) {
  return fails() ? MAP_FAILED : __real_mmap(address, size, protection, flags, file, at);
}
}

void* operator new(std::size_t size) {
  void* block = std::malloc(size + (size == 0));
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace OMB::test {
namespace {

[[maybe_unused]] const bool cryptoCounts =
    CRYPTO_set_mem_functions(
        [](std::size_t size, const char*, int) { return fails() ? nullptr : __real_malloc(size); },
        [](void* block, std::size_t size, const char*, int) {
          return fails() ? nullptr : std::realloc(block, size);
        },
        [](void* block, const char*, int) { __real_free(block); }) == 1;

}  // namespace

void Allocations::failAt(int number) {
  untilFailure = number;
}
bool Allocations::failed() {
  return untilFailure < 0;
}
long Allocations::live() {
  return liveBlocks;
}

SparedAllocations::SparedAllocations() {
  ++spared;
}
SparedAllocations::~SparedAllocations() {
  --spared;
}

}  // namespace OMB::test
