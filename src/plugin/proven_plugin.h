// A plug-in that is loaded from the files that were proven, and from no others.
#pragma once

#include <memory>
#include <string>

#include "ombrel/plugin/dynamic_plugin.h"
#include "ombrel/plugin/manifest.h"

#include "plugin/proven_files.h"

namespace OMB {

class ProvenPlugin final : public DynamicPlugin {
 public:
  ProvenPlugin(const Manifest& manifest, std::shared_ptr<const ProvenFiles> proven)
      : DynamicPlugin(makePlugin(manifest)), files(std::move(proven)) {}

  int Load(std::string searchDirectory) override;
  Plugin* Clone() const override { return new ProvenPlugin(*this); }

 protected:
  int CheckHashes(std::string searchDirectory) const override;

 private:
  int CheckDependency(const Dependency& dependency, const std::string& searchDirectory) const;

  std::shared_ptr<const ProvenFiles> files;  // null: not all were proven
};

}  // namespace OMB
