// For scripts/check-disk: seals a pair, stores the compilation of it and answers out of that.
//
//   store_compilation BASE FOLDER   writes to the folder, which is there, and to nothing else
#include <memory>
#include <string>

#include "ombrel/model/backend.h"
#include "ombrel/model/nn_compilation.h"

#include "files.h"
#include "seal_command.h"

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const std::string folder = std::string(arguments[2]) + "/";
  const std::string sealed = folder + "sealed", stored = folder + "stored";
  OMB::ByteVector key(16, 7);
  OMB::tool::sealPair(arguments[1], sealed, key);

  OMB::Config config;
  config.SetDataPath(OMBREL_DATA_PATH);
  const std::unique_ptr<OMB::INNModel> model(Create({sealed.c_str(), key.data(), 16, config}));
  auto& compilation = dynamic_cast<OMB::INNCompilation&>(*model);
  if (!compilation.StoreCompilation(stored.c_str(), key.data(), 16)) return 3;
  if (!compilation.UseCompilation(stored.c_str(), key.data(), 16)) return 4;
  const std::unique_ptr<OMB::INNRunner> runner(model->CreateRunner());
  OMB::NNData filled(runner->GetInputBuffer(), 1, 1, 1, OMB::ImageUtils::ELayoutType::CHW,
                     OMB::EDataType::FP32, true);
  return runner->Run(&filled) != nullptr && compilation.GetRefusedCompilations() == 0 ? 0 : 5;
}
