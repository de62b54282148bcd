// The load of a model pair, in the clear and sealed, through the engine. The seeds are real pairs:
// a byte that is not 0 for a sealed one, the length of the text, the text, the weights.
#include <filesystem>
#include <fstream>
#include <memory>
#include <unistd.h>

#include "ombrel/model/backend.h"

#include "engine/inference_engine.h"
#include "fuzz_input.h"

namespace OMB::fuzz {
namespace {

/// A folder in memory.
struct Folder {
  Folder() { std::filesystem::create_directories(path); }
  ~Folder() { std::filesystem::remove_all(path); }
  std::string write(const char* name, const ByteVector& bytes) const {
    std::ofstream(path + name)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return path + name;
  }
  const std::string path = "/dev/shm/ombrel-fuzz-" + std::to_string(getpid()) + "/";
};

}  // namespace

void run(Input input) {
  static const Folder folder;
  constexpr unsigned char kPlugins[] = "<ie><plugins/></ie>";
  folder.write("plugins.xml", ByteVector(kPlugins, kPlugins + sizeof(kPlugins) - 1));
  const bool sealed = input.take<std::uint8_t>() != 0;
  const std::size_t textSize = input.take<std::uint16_t>();
  folder.write("pair.xml", input.bytes(std::min(textSize, input.rest().size())));
  folder.write("pair.bin", input.rest());
  Config config;
  config.SetDataPath(folder.path);
  unsigned char key[] = "fuzz fuzz fuzz !";
  try {
    const std::unique_ptr<INNModel> model(
        Create({(folder.path + "pair").c_str(), sealed ? key : nullptr, 16, config}));
    if (model->IsLoaded()) (void)model->GetOutputSize();
  } catch (const std::length_error& error) {
    REQUIRE(sealed && std::string(error.what()) == "vector too long");
  }
}

}  // namespace OMB::fuzz
