// INNCompilation: a compiled network that outlives its process.
#pragma once

#include "ombrel/export.h"

namespace OMB {

/// What a model may offer besides INNModel. A host asks for it by dynamic_cast from the INNModel*,
/// and gets null from a backend that does not have it. It lives and ends with the model.
///
///     auto* compilation = dynamic_cast<INNCompilation*>(model.get());
///     if (compilation != nullptr && !compilation->UseCompilation(file, key, 16)) {
///       (void)compilation->StoreCompilation(file, key, 16);  // for the next process
///     }
///     std::unique_ptr<INNRunner> runner(model->CreateRunner());
///
/// A stored compilation holds the network and its weights, so it is as secret as the model, and is
/// always sealed. It is good for the same pair, engine, kind of CPU and configuration only, and for
/// builds with the same mask of keys: everything else is refused, as is a file with any changed
/// bit. Nothing is printed. docs/security.md says what that proves.
///
/// The key has `keySize` bytes, 16 (no more and no less), and is not kept: that of the pair, or of
/// a pair in the clear one that the host has chosen. Without a key nothing is stored or used.
///
/// Threads: while UseCompilation runs no other call of the model may; the others are as INNModel's.
class OMBREL_API INNCompilation {
 public:
  virtual ~INNCompilation();

  /// Compiles the network once more and writes it to the file, in the place of one that is there:
  /// whole or not at all, for this user only to read. False when it could not be, which leaves the
  /// file as it was: the model is not loaded, the engine refused, the disk is full, it has 2 GiB or
  /// more, or the system lets the engine export to nothing but a disk, as Windows does. Throws
  /// std::bad_alloc.
  [[nodiscard]] virtual bool StoreCompilation(const char* file, const unsigned char* key,
                                              int keySize) = 0;

  /// Whether the file is a compilation for this model. From then on CreateRunner takes its runners
  /// from it, in less time than compiling takes, with the same results; it stays in memory until
  /// the model and those runners have ended. Where it is none, and where the engine refuses it
  /// later, they are compiled as they always are. Throws std::bad_alloc.
  [[nodiscard]] virtual bool UseCompilation(const char* file, const unsigned char* key,
                                            int keySize) = 0;

  /// How often that happened: a UseCompilation that was false, or a runner that was compiled though
  /// one was true.
  [[nodiscard]] virtual int GetRefusedCompilations() = 0;
};

}  // namespace OMB
