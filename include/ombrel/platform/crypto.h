// AES-CBC decryption and SHA-256.
#pragma once

#include "ombrel/export.h"
#include "ombrel/platform/byte_vector.h"

/// A step that the platform's cryptography refuses prints one line to standard output, beginning
/// with "**** ", and gives an empty vector. The exceptions that pass are std::bad_alloc and the
/// std::length_error "vector too long" named below. The byte pointers are never written through,
/// and nothing is kept between calls: all functions may run on any thread at the same time.
namespace OMB::Crypto {

/// Decrypts `bufferSize` bytes, a whole number of 16-byte blocks, by AES in CBC mode. The key size
/// of AES is `keySize`: 16, 24 or 32 bytes. Of `iv` the first 16 bytes are used, so `ivSize` is at
/// least 16. No length may be negative.
///
/// Returns the plaintext without its trailing bytes: the last byte tells how many are taken off,
/// itself included, and is not tested (0 takes off none, 200 takes off 200). When it is greater
/// than the plaintext's length, std::length_error "vector too long" is thrown. An empty input gives
/// an empty vector. If the decryption itself fails, after all was prepared, the vector has the full
/// length and its content is not to be used. There is no integrity check: a wrong key gives
/// meaningless bytes.
[[nodiscard]] OMBREL_API ByteVector decryptBuffer(unsigned char* buffer, int bufferSize,
                                                  unsigned char* iv, int ivSize, unsigned char* key,
                                                  int keySize);

/// The same for a vector that it takes over: the plaintext comes back in the memory of the
/// ciphertext, so that hundreds of megabytes do not stand in memory twice. After a decryption that
/// fails with all prepared, the bytes are zero.
[[nodiscard]] OMBREL_API ByteVector decryptBuffer(ByteVector buffer, unsigned char* iv, int ivSize,
                                                  unsigned char* key, int keySize);

/// The AES key that stands for a caller's key: `key` XOR `keyMask`, byte by byte, both of `keySize`
/// bytes, so that neither alone is the key. Throws std::bad_alloc.
[[nodiscard]] OMBREL_API ByteVector effectiveKey(const unsigned char* key, int keySize,
                                                 const unsigned char* keyMask);

/// Reads and decrypts a whole file of less than 2 GiB as decryptBuffer does. The AES key is the
/// effective one of `key` and `keyMask`, both of `keySize` bytes. With null `key` the file's bytes
/// are returned as they are, and none of the other arguments is looked at.
///
/// Throws std::length_error "vector too long" if the file cannot be opened.
[[nodiscard]] OMBREL_API ByteVector decryptFile(const char* fileName, unsigned char* iv, int ivSize,
                                                unsigned char* key, int keySize,
                                                unsigned char* keyMask);

/// The SHA-256 digest, 32 bytes, of `bufferSize` bytes; of none at all for 0.
[[nodiscard]] OMBREL_API ByteVector hashBuffer(unsigned char* buffer, int bufferSize);

}  // namespace OMB::Crypto
