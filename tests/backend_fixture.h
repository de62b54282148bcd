// A folder of models for the backend, in the clear and sealed.
#pragma once

#include <memory>
#include <string>

#include "ombrel/model/backend.h"

#include "files.h"
#include "seal_command.h"
#include "support.h"

namespace OMB::test {

constexpr char kPluginList[] = "<ie><plugins></plugins></ie>";

/// A folder with a list of plug-ins, and the models that a test writes there.
class BackendTest : public testing::Test {
 protected:
  BackendTest() { folder.write("plugins.xml", kPluginList); }

  Config config() const {
    Config result;
    result.SetDataPath(folder / "");
    return result;
  }

  /// Writes a pair, and returns its base path.
  std::string pair(const std::string& name, const std::string& text,
                   const std::string& weights = "w") const {
    folder.write(name + ".xml", text);
    folder.write(name + ".bin", weights);
    return folder / name;
  }

  /// Seals a pair of any folder into the one named "sealed".
  void seal(const std::string& base) const {
    for (const char* extension : {".xml", ".bin"}) {
      tool::PendingFile out(sealed + extension);
      tool::sealFile(base + extension, out, key);
      out.finish();
      out.commit();
    }
  }

  std::unique_ptr<INNModel> load(const std::string& base, ByteVector callersKey = {}) const {
    unsigned char* bytes = callersKey.empty() ? nullptr : callersKey.data();
    return std::unique_ptr<INNModel>(
        Create({base.c_str(), bytes, static_cast<int>(callersKey.size()), config()}));
  }

  TemporaryDirectory folder;
  const ByteVector key = fromHex("00112233445566778899aabbccddeeff");
  const std::string sealed = folder / "sealed";
};

}  // namespace OMB::test
