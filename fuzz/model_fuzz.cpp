// The load of a model pair, in the clear and sealed, through the engine. The seeds are real pairs:
// a byte that is not 0 for a sealed one, the length of the text, the text, the weights.
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "ombrel/model/entry_points.h"

#include "engine/inference_engine.h"
#include "fuzz_input.h"

extern "C" OMB::INNModel* Create(OMB::ModelParams params);

namespace OMB {
namespace {

/// A folder, in memory where there is one.
class Folder {
 public:
  Folder() {
    std::filesystem::create_directories(path);
    write("plugins.xml", "<ie><plugins/></ie>", 19);
  }
  ~Folder() { std::filesystem::remove_all(path); }

  void write(const char* name, const void* bytes, std::size_t size) const {
    std::ofstream(path + name, std::ios::binary)
        .write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  }
  void write(const char* name, const ByteVector& bytes) const {
    write(name, bytes.data(), bytes.size());
  }

  const std::string path =
      (std::filesystem::exists("/dev/shm") ? "/dev/shm/ombrel-fuzz-" : "/tmp/ombrel-fuzz-") +
      std::to_string(getpid()) + "/";
};

void run(fuzz::Input input) {
  const bool sealed = input.take<std::uint8_t>() != 0;
  const std::size_t textSize = std::min<std::size_t>(input.take<std::uint16_t>(), input.left());
  static const Folder folder;
  folder.write("pair.xml", input.bytes(textSize));
  folder.write("pair.bin", input.bytes(input.left()));
  Config config;
  config.SetDataPath(folder.path);
  unsigned char key[] = "fuzz fuzz fuzz !";
  const std::string base = folder.path + "pair";
  try {
    const std::unique_ptr<INNModel> model(
        Create({base.c_str(), sealed ? key : nullptr, sizeof(key) - 1, config}));
    REQUIRE(model != nullptr);
    if (model->IsLoaded()) (void)model->GetOutputSize();
  } catch (const std::length_error& error) {
    REQUIRE(sealed && std::string(error.what()) == "vector too long");
  } catch (const InferenceEngine::GeneralError& error) {
    // Of a network that was read and has no input or no output.
    REQUIRE(std::string(error.what()) == "The network has no input or no output");
  }
}

}  // namespace
}  // namespace OMB

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  OMB::run({data, size});
  return 0;
}
