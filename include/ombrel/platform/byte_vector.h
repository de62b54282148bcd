// ByteVector: the byte container of the framework, which leaves no plaintext behind.
#pragma once

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "ombrel/export.h"

namespace OMB {

/// Zero-filled memory for `size` bytes, aligned for any type. Large blocks come straight from the
/// system, already zero and in huge pages while those pay, since page faults cost more than
/// anything done with such a block. Throws std::bad_alloc. Release with releaseBytes and the same
/// size.
[[nodiscard]] OMBREL_API void* allocateBytes(std::size_t size);

/// Releases a block of allocateBytes. A null block is fine.
OMBREL_API void releaseBytes(void* block, std::size_t size) noexcept;

/// Standard allocator of bytes. The part of a block that holds no element is zero at all times: a
/// block comes zero-filled, so that making elements costs nothing, and an element is wiped when it
/// ends, so that no key and no plaintext outlives its container.
template <typename T>
class ByteAllocator {
  static_assert(sizeof(T) == 1, "counts bytes");

 public:
  using value_type = T;

  ByteAllocator() = default;
  template <typename U>
  // NOLINTNEXTLINE(google-explicit-constructor): allocators convert
  ByteAllocator(const ByteAllocator<U>&) noexcept {}

  [[nodiscard]] T* allocate(std::size_t count) { return static_cast<T*>(allocateBytes(count)); }
  void deallocate(T* block, std::size_t count) noexcept { releaseBytes(block, count); }

  void construct(T* /*element, zero already*/) noexcept {}
  template <typename... Arguments>
  void construct(T* element, Arguments&&... arguments) {
    ::new (static_cast<void*>(element)) T(std::forward<Arguments>(arguments)...);
  }
  void destroy(T* element) noexcept { *element = T(); }

  friend bool operator==(const ByteAllocator&, const ByteAllocator&) noexcept { return true; }
};

/// A growable contiguous sequence of bytes. As the result of an operation, empty means no result.
using ByteVector = std::vector<unsigned char, ByteAllocator<unsigned char>>;

}  // namespace OMB
