#include "backend/stored_compilation.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>

#include "ombrel/platform/file_utils.h"

#include "backend/device.h"
#include "platform/sealed_bytes.h"
#include "system/hmac.h"
#include "system/memory_file.h"
#include "system/new_file.h"

namespace OMB {
namespace {

namespace IE = InferenceEngine;

constexpr std::size_t kDigestBytes = 32;
constexpr std::int64_t kMostBytes = std::numeric_limits<std::int32_t>::max();

// What a compilation is good for, next to the weights: the network, the engine, the CPU, the
// settings. Changes of what the backend sets in a network have to change the first line.
std::string contextOf(const OpenVINONetwork& network, const Device& device) {
  const ByteVector& text = network.textDigest;
  return "FP32 NCHW batch 1\n" + std::string(text.begin(), text.end()) + device.Describe();
}

// Whether there is all that a compilation is sealed with.
bool canBeTold(const OpenVINONetwork& network, const ByteVector& key) {
  return network.loaded && !network.textDigest.empty() && !key.empty();
}

std::span<const unsigned char> weightsOf(const OpenVINONetwork& network) {
  return {network.weights->rmap().as<const unsigned char*>(), network.weights->byteSize()};
}

}  // namespace

ByteVector digestOf(std::span<const unsigned char> bytes) {
  constexpr unsigned char kPurpose[] = "ombrel digest of a pair's file";
  ByteVector digest(kDigestBytes);
  return system::hmacSha256(kPurpose, bytes, digest.data()) < 0 ? ByteVector() : digest;
}

bool storeCompilation(const std::string& file, const ByteVector& key,
                      const OpenVINONetwork& network, const Config& config) {
  // The engine writes to nothing but files, and no plaintext may reach a disk.
  system::MemoryFile exported;
  if (!canBeTold(network, key) || exported.path().empty()) return false;
  Device device(config);
  const std::string context = contextOf(network, device);
  device.Compile(network.network).Export(exported.path());
  const std::span<unsigned char> bytes = exported.bytes();
  if (bytes.empty()) return false;
  const auto seal = platform::sealInPlace(key, {context, weightsOf(network)}, bytes);
  return seal && system::writeNewFile(file, *seal, bytes);
}

IE::Blob::Ptr readCompilation(const std::string& file, const ByteVector& key,
                              const OpenVINONetwork& network, const Config& config) {
  const std::int64_t size = Utility::fileSize(file);
  if (!canBeTold(network, key) || size < 0 || size > kMostBytes) return nullptr;
  const std::string context = contextOf(network, Device(config));
  const auto bytes = std::make_shared<ByteVector>(static_cast<std::size_t>(size));
  Utility::readAllFile(file, bytes->data(), bytes->size());
  if (!platform::openInPlace(key, {context, weightsOf(network)}, *bytes)) return nullptr;
  return std::make_shared<IE::Blob>(bytes->data() + platform::kSealBytes,
                                    bytes->size() - platform::kSealBytes, bytes);
}

}  // namespace OMB
