// What the benchmarks of the backend work on.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "ombrel/model/nn_model.h"

#include "sealing_key.h"

namespace OMB::bench {

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
