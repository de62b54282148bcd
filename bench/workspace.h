// What the benchmarks of the backend work on.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "ombrel/model/nn_model.h"

namespace OMB::bench {

inline constexpr unsigned char kKey[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

/// The files that the benchmarks work on, removed at the end.
class Workspace {
 public:
  Workspace();
  ~Workspace();
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  std::string dataPath() const;
  std::string base(const std::string& name) const;

 private:
  std::filesystem::path folder;
};

/// Loads a pair, a sealed one with kKey. Throws when it does not load.
std::unique_ptr<INNModel> create(const std::string& base, bool sealed, const std::string& dataPath);

}  // namespace OMB::bench
