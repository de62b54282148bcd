// Config: how a backend is to run.
#pragma once

#include <cstdint>
#include <string>

#include "ombrel/export.h"
#include "ombrel/model/backend_names.h"

namespace OMB {

/// A value record that a host fills by hand or from a file and passes inside ModelParams.
/// Threads: no lock; one record is used by one thread at a time.
class OMBREL_API Config {
 public:
  /// Backend AUTO, one thread, an empty data path.
  Config() = default;
  ~Config() = default;
  Config(const Config&) = default;
  Config& operator=(const Config&) = default;
  /// Takes over the data path; the source's is left empty, its other two fields keep their values.
  Config(Config&& other) noexcept;
  /// As the move constructor. Assigning a record to itself changes nothing.
  Config& operator=(Config&& other) noexcept;

  /// The backend asked for. It is the host's own: no backend acts on it.
  EBackend GetBackend() const noexcept { return backend; }
  /// Stores any value, UNDEFINED included.
  void SetBackend(EBackend value) noexcept { backend = value; }

  /// Text prefix under which data files are found. File names are joined to it without a separator,
  /// so a directory ends in one. Valid while the record lives and is unchanged.
  const std::string& GetDataPath() const noexcept { return dataPath; }
  /// Stores a copy. Passing the record's own path changes nothing.
  void SetDataPath(const std::string& path) { dataPath = path; }

  /// Number of CPU threads for the engine. May be below 1 after Read.
  std::int32_t GetThreadCount() const noexcept { return threadCount; }
  /// Stores `count` if it is greater than 1, else 1.
  void SetThreadCount(std::int32_t count) noexcept { threadCount = count > 1 ? count : 1; }

  /// Reads pairs of key and value, all separated by white space, from the text file at `path`,
  /// which must not be null. The keys are "ThreadCount" (stored as it converts, without the limit
  /// of SetThreadCount), "EBackend" (a name; UNDEFINED and unknown names give AUTO) and "DataPath"
  /// (joined to the file's directory; "." is that directory itself). The last pair of a key wins
  /// and absent keys leave their field as it was, so two files can be merged into one record.
  ///
  /// The file is a text as the system has it: on Windows byte 0x1A ends it.
  ///
  /// Returns false, with the record unchanged, if the file cannot be opened; else true. Tells on
  /// standard output of a missing file, an unknown key and an unknown backend name. Throws only
  /// std::bad_alloc.
  [[nodiscard]] bool Read(const char* path);

 private:
  EBackend backend = EBackend::AUTO;
  std::int32_t threadCount = 1;
  std::string dataPath;
};

}  // namespace OMB
