// Proof that a model pair is the one that was made: the tags beside it.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "ombrel/export.h"
#include "ombrel/platform/byte_vector.h"

namespace OMB {

/// A pair's file of tags is named by its base path, as the pair is. It proves the bytes of ".xml"
/// and ".bin" as they are stored, sealed or in the clear, to whoever has the key that it was made
/// with. docs/authentication.md has its format and says what it promises.
inline constexpr char kTagsSuffix[] = ".auth";

/// The files that a base path names.
enum class EModelFile {
  TEXT,     ///< ".xml"
  WEIGHTS,  ///< ".bin"
  TAGS,     ///< ".auth"
};

enum class EAuthenticity {
  AUTHENTIC,     ///< every byte is as it was when the tags were made
  MISSING,       ///< `file` cannot be opened
  UNKNOWN_TAGS,  ///< what is there are no tags, or of another version of the format
  OTHER_KEY,     ///< the tags were made with another key, or their first bytes were changed
  OTHER_LENGTH,  ///< `file` is longer or shorter than the one that the tags were made for
  CHANGED,       ///< `file` was changed; TEXT and WEIGHTS first at `mebibyte`
  OTHER_PAIR,    ///< of neither file fits a single tag
  UNTESTED,      ///< the system's cryptography failed
};

/// What a verification has found. Only AUTHENTIC is good.
struct Authenticity {
  EAuthenticity verdict = EAuthenticity::UNTESTED;
  EModelFile file = EModelFile::TAGS;
  std::uint64_t mebibyte = 0;  ///< which of the file, counted from 0

  [[nodiscard]] bool IsAuthentic() const noexcept { return verdict == EAuthenticity::AUTHENTIC; }
  /// The finding in one line that names the file, for the pair of this base path.
  OMBREL_API std::string Describe(const std::string& base) const;

  bool operator==(const Authenticity&) const = default;
};

/// The bytes of the three files, which are the caller's.
struct ModelBytes {
  std::span<const unsigned char> text;
  std::span<const unsigned char> weights;
  std::span<const unsigned char> tags;
};

/// Compares a pair in memory with its tags. Nothing is deciphered and nothing is kept. The key has
/// `keySize` bytes: the effective key (Crypto::effectiveKey) of a sealed pair, or the one that a
/// host has chosen for a pair in the clear, 16 random bytes or more. Throws std::bad_alloc. May run
/// on any thread at the same time. For a pair of 8 MiB and more up to three threads, as many as
/// there are processors beside the calling one, take a part of the work, and have ended when it
/// returns; where none can be started the calling one does it all.
[[nodiscard]] OMBREL_API Authenticity verifyModel(const ModelBytes& bytes, const unsigned char* key,
                                                  int keySize);

/// The same for the files of a base path, or for what ModelBuffers has entered under it. What is
/// read is not kept, and the pair may be exchanged after that: a load reads it once more. So the
/// folder has to be writable for nobody who is not trusted, or the host loads the very bytes that
/// readProvenModel gives.
[[nodiscard]] OMBREL_API Authenticity verifyModel(const char* base, const unsigned char* key,
                                                  int keySize);

/// A pair as it is stored, of which every byte was compared after it was read.
struct ProvenModel {
  Authenticity found;
  ByteVector text;     ///< empty unless `found` is AUTHENTIC
  ByteVector weights;  ///< the same
};

/// Reads the files of a base path, or what ModelBuffers has entered under it, and compares each MiB
/// as soon as it is in memory, on the threads that verifyModel has. Memory: both files and the
/// tags. Throws std::bad_alloc.
[[nodiscard]] OMBREL_API ProvenModel readProvenModel(const char* base, const unsigned char* key,
                                                     int keySize);

/// Makes the tags of a pair, whose bytes come in any pieces: those of each file in their order.
/// Every object has a salt of its own from the system, and so keys of its own.
///
///     ModelAuthenticator authenticator(key.data(), 16);
///     authenticator.Add(EModelFile::TEXT, text);
///     authenticator.Add(EModelFile::WEIGHTS, weights);
///     const ByteVector tags = authenticator.Finish();
///
/// Throws std::bad_alloc. One object is used by one thread at a time; nothing is shared.
class OMBREL_API ModelAuthenticator {
 public:
  /// The key as for verifyModel, which is not kept.
  ModelAuthenticator(const unsigned char* key, int keySize);
  ~ModelAuthenticator();
  ModelAuthenticator(const ModelAuthenticator&) = delete;
  ModelAuthenticator& operator=(const ModelAuthenticator&) = delete;

  /// `file` is TEXT or WEIGHTS.
  void Add(EModelFile file, std::span<const unsigned char> bytes);

  /// The contents of the file of tags. Called once, at the end. Empty if the system's random
  /// numbers or its cryptography failed on the way.
  [[nodiscard]] ByteVector Finish();

 private:
  struct Parts;

  std::unique_ptr<Parts> parts;
};

}  // namespace OMB
