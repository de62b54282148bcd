#include "workspace.h"

#include <cstring>
#include <fstream>
#include <stdexcept>
#include <unistd.h>

#include "ombrel/model/backend.h"

namespace OMB::bench {

namespace fs = std::filesystem;

Workspace::Workspace()
    : folder(fs::temp_directory_path() / ("ombrel-bench-" + std::to_string(getpid()))) {
  fs::create_directories(folder);
  std::ofstream(folder / "plugins.xml") << "<ie><plugins></plugins></ie>";
}

Workspace::~Workspace() {
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

std::string Workspace::dataPath() const {
  return (folder / "").string();
}

std::string Workspace::base(const std::string& name) const {
  return (folder / name).string();
}

std::unique_ptr<INNModel> create(const std::string& base, bool sealed,
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
