#include "backend/openvino_model.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "ombrel/model/model_buffers.h"
#include "ombrel/platform/byte_vector.h"
#include "ombrel/platform/crypto.h"

#include "backend/first_entry.h"
#include "backend/openvino_runner.h"
#include "backend/stored_compilation.h"
#include "backend/stored_pair.h"
#include "backend/tensor_type.h"
#include "build_constants.h"
#include "platform/console.h"
#include "system/environment.h"

namespace OMB {
namespace {

namespace IE = InferenceEngine;

// A length that the mask cannot serve gives no key at all, which AES refuses.
ByteVector aesKey(const unsigned char* key, int size) {
  if (size < 0 || static_cast<std::size_t>(size) > sizeof(keyMask)) return {};
  return Crypto::effectiveKey(key, size, keyMask);
}

// Of a stored compilation, which is never without one.
ByteVector compilationKey(const unsigned char* key, int size) {
  const bool whole = key != nullptr && size == static_cast<int>(sizeof(keyMask));
  return whole ? aesKey(key, size) : ByteVector();
}

// In place. Whether that gave anything: a decryption that fails leaves nothing, or as much as there
// was, all of it zero, which a padded file never is.
bool decrypt(ByteVector& bytes, ByteVector& key) {
  const std::size_t size = bytes.size();
  unsigned char iv[sizeof(modelIv)];
  std::memcpy(iv, modelIv, sizeof(modelIv));
  bytes = Crypto::decryptBuffer(std::move(bytes), iv, sizeof(iv), key.data(),
                                static_cast<int>(key.size()));
  if (bytes.size() < size) return !bytes.empty();
  return std::any_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte != 0; });
}

IE::Blob::Ptr weightsBlob(ByteVector weights) {
  IE::TensorDesc desc(IE::Precision::U8, {weights.size()}, IE::Layout::C);
  const auto blob = IE::make_shared_blob<unsigned char>(std::move(desc), std::move(weights));
  blob->allocate();
  return blob;
}

}  // namespace

OpenVINOModel::OpenVINOModel(ModelParams params) : config(params.config) {
  // The engine's threads are to sleep between inferences, not spin.
  system::setEnvironment("OMP_WAIT_POLICY", "passive");
  network = std::make_unique<OpenVINONetwork>();
  network->loaded = LoadModel(params);
}

bool OpenVINOModel::LoadModel(const ModelParams& params) {
  const std::string path = params.path;
  if (modelFileSize(path, kTextSuffix) < 1 || modelFileSize(path, kWeightsSuffix) < 1) return false;
  try {
    ReadNetwork(params, path);
  } catch (const IE::InferenceEngineException& failure) {
    console::printError("%s\n", failure.what());
    return false;
  }
  PrepareInputAndOutput();
  return network->loaded;
}

void OpenVINOModel::ReadNetwork(const ModelParams& params, const std::string& path) {
  StoredPair pair;
  if (params.key == nullptr) {
    pair = readPair(path);
  } else {
    ByteVector key = aesKey(params.key, params.keySize);
    pair = readSealedPair(path, key, authenticationRequired);
    const bool text = decrypt(pair.text, key), weights = decrypt(pair.weights, key);
    // The engine does not look at weights that the network has no use for.
    if (!text || !weights) throw IE::GeneralError("The model could not be decrypted");
  }

  // Where it is: a copy would have to be wiped.
  const std::string_view text(reinterpret_cast<const char*>(pair.text.data()), pair.text.size());
  IE::Blob::Ptr blob = weightsBlob(std::move(pair.weights));
  IE::Core core(config.GetDataPath() + kPluginList);
  IE::CNNNetwork read = core.ReadNetwork(text, blob);
  read.setBatchSize(1);
  network->network = read;
  network->weights = std::move(blob);
  network->textDigest = digestOf(pair.text);
  network->loaded = true;
}

void OpenVINOModel::PrepareInputAndOutput() {
  IE::InputInfo& input = *firstEntry(network->network.getInputsInfo()).second;
  switch (input.getTensorDesc().getDims().size()) {
    case 1:
      input.setLayout(IE::Layout::NC);
      break;
    case 4:
      input.setLayout(IE::Layout::NCHW);
      break;
    default:
      break;  // stays as the network gave it
  }
  input.setPrecision(IE::Precision::FP32);
  firstEntry(network->network.getOutputsInfo()).second->setPrecision(IE::Precision::FP32);
}

INNRunner* OpenVINOModel::CreateRunner() {
  return new OpenVINORunner(network.get(), config);
}

int OpenVINOModel::GetOutputSize() {
  std::uint32_t size = 1;
  for (const std::size_t dimension :
       firstEntry(network->network.getOutputsInfo()).second->getDims()) {
    size *= static_cast<std::uint32_t>(dimension);
  }
  return static_cast<int>(size);
}

std::vector<NNTensorInfo> OpenVINOModel::GetInputs() {
  std::vector<NNTensorInfo> inputs;
  for (const auto& [name, input] : network->network.getInputsInfo()) {
    inputs.push_back({name, tensorType(input->getTensorDesc().getPrecision()),
                      network->network.getInputDims(name)});
  }
  return inputs;
}

std::vector<NNTensorInfo> OpenVINOModel::GetOutputs() {
  std::vector<NNTensorInfo> outputs;
  for (const auto& [name, output] : network->network.getOutputsInfo()) {
    outputs.push_back(
        {name, tensorType(output->getTensorDesc().getPrecision()), output->getDims()});
  }
  return outputs;
}

bool OpenVINOModel::StoreCompilation(const char* file, const unsigned char* key, int keySize) {
  try {
    return storeCompilation(file, compilationKey(key, keySize), *network, config);
  } catch (const IE::InferenceEngineException&) {
    return false;
  }
}

bool OpenVINOModel::UseCompilation(const char* file, const unsigned char* key, int keySize) {
  network->compilation.reset();
  try {
    network->compilation = readCompilation(file, compilationKey(key, keySize), *network, config);
  } catch (const IE::InferenceEngineException&) {
    // It stays null: not used.
  }
  const bool used = network->compilation != nullptr;
  if (!used) ++network->refused;
  return used;
}

}  // namespace OMB
