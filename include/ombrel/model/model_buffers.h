// Models that are not in files: in a resource of the program, an archive, a database.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "ombrel/export.h"

namespace OMB {

/// Enters the files of a model, sealed or in the clear, as buffers of the host's under a name that
/// the host then gives as ModelParams::path:
///
///     const ModelBuffers entered("models/classifier", {.text = xml, .weights = bin});
///     std::unique_ptr<INNModel> model(create({"models/classifier", nullptr, 0, config}));
///
/// As long as the object lives, the name stands for the buffers and for no file: a buffer that is
/// empty is a file that is not there. The name is compared byte by byte. It is entered for the
/// whole process, for all plug-ins that read their models by modelFileSize and readModelFile, as
/// the OpenVINO backend does.
///
/// The buffers stay the host's. They are only read, and only while a Create runs: neither model nor
/// runner keeps anything of them, so both the object and the buffers may end after Create.
///
/// Threads: objects may be made and destroyed, and models loaded, at the same time. The destructor
/// waits for a reading of its buffers; a host makes sure that no Create of the name goes on.
class OMBREL_API ModelBuffers {
 public:
  using Bytes = std::span<const unsigned char>;
  /// The files of a model.
  struct Files {
    Bytes text;                 ///< what ".xml" would hold
    Bytes weights;              ///< what ".bin" would hold
    Bytes authentication = {};  ///< what ".auth" would hold, the proof of a sealed pair
  };

  /// Throws std::invalid_argument for a name that is empty, that holds a NUL or that is entered
  /// already.
  ModelBuffers(std::string path, const Files& files);
  ModelBuffers(const ModelBuffers&) = delete;
  ModelBuffers& operator=(const ModelBuffers&) = delete;
  ~ModelBuffers();

 private:
  std::string name;
};

/// For backends. Size of a file of the model whose base path is `path`; `extension` is ".xml",
/// ".bin" or ".auth". Buffers that are entered under the path come first, then the file of that
/// name as by Utility::fileSize: -1 where there is none.
[[nodiscard]] OMBREL_API std::int64_t modelFileSize(const std::string& path, const char* extension);

/// For backends. Reads up to `size` bytes from the start of that file into `buffer`, as by
/// Utility::readAllFile.
OMBREL_API void readModelFile(const std::string& path, const char* extension, void* buffer,
                              std::uint64_t size);

/// The same from `offset` on, in bytes. For different parts it may be called by several threads.
OMBREL_API void readModelFile(const std::string& path, const char* extension, std::uint64_t offset,
                              void* buffer, std::uint64_t size);

}  // namespace OMB
