// What the benchmarks of the backend work on.
#pragma once

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include "ombrel/model/backend.h"

namespace OMB::bench {

namespace fs = std::filesystem;

inline constexpr unsigned char kKey[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

/// The files that the benchmarks work on, removed at the end.
class Workspace {
 public:
  Workspace() {
    fs::create_directories(folder);
    std::ofstream(folder / "plugins.xml") << "<ie><plugins></plugins></ie>";
  }
  ~Workspace() { fs::remove_all(folder); }

  std::string dataPath() const { return (folder / "").string(); }
  std::string base(const char* name) const { return (folder / name).string(); }

 private:
  fs::path folder = fs::temp_directory_path() / ("ombrel-bench-" + std::to_string(getpid()));
};

inline std::unique_ptr<INNModel> create(const std::string& base, bool sealed,
                                        const std::string& dataPath) {
  Config config;
  config.SetDataPath(dataPath);
  unsigned char key[16];
  std::memcpy(key, kKey, sizeof(key));
  std::unique_ptr<INNModel> model(Create({base.c_str(), sealed ? key : nullptr, 16, config}));
  if (!model->IsLoaded()) throw std::runtime_error(base + " did not load");
  return model;
}

}  // namespace OMB::bench
