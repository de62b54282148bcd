// Loading a model beside a program that does the same by itself. Names are SUBJECT/CASE/PEER.
//
//   load_bench [--benchmark_...]
//   load_bench --once ours|straight clear|sealed BASE   loads once
#include <cstdint>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openvino/op/constant.hpp>
#include <openvino/op/matmul.hpp>
#include <openvino/op/parameter.hpp>
#include <openvino/openvino.hpp>

#include "build_constants.h"
#include "files.h"
#include "paired.h"
#include "program.h"
#include "seal_command.h"
#include "workspace.h"

namespace OMB::bench {
namespace {

// A program without us, as one writes it: both files into vectors, decrypted into others.

std::vector<unsigned char> readFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary | std::ios::ate);
  std::vector<unsigned char> bytes(static_cast<std::size_t>(file.tellg()));
  file.seekg(0).read(reinterpret_cast<char*>(bytes.data()),
                     static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

// `plain` has room for a block more than `cipher`. Returns the length without the trailing bytes.
std::size_t decryptInto(std::vector<unsigned char>& plain,
                        const std::vector<unsigned char>& cipher) {
  unsigned char key[16];
  for (int i = 0; i < 16; ++i) key[i] = static_cast<unsigned char>(kKey[i] ^ keyMask[i]);
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
      EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, key, modelIv);
  int length = 0;
  int rest = 0;
  EVP_DecryptUpdate(context.get(), plain.data(), &length, cipher.data(),
                    static_cast<int>(cipher.size()));
  EVP_DecryptFinal_ex(context.get(), plain.data() + length, &rest);
  return static_cast<std::size_t>(length + rest);
}

std::vector<unsigned char> decrypt(const std::vector<unsigned char>& cipher) {
  std::vector<unsigned char> plain(cipher.size() + 16);
  plain.resize(decryptInto(plain, cipher));
  return plain;
}

void loadStraight(const std::string& base, bool sealed) {
  std::vector<unsigned char> text = readFile(base + ".xml");
  std::vector<unsigned char> weights = readFile(base + ".bin");
  if (sealed) {
    text = decrypt(text);
    weights = decrypt(weights);
  }
  ov::Core core;
  const ov::Tensor tensor(ov::element::u8, {weights.size()}, weights.data());
  benchmark::DoNotOptimize(core.read_model(std::string(text.begin(), text.end()), tensor));
}

// A network of one matrix of the wanted size.
void writeLargeModel(const std::string& base, std::size_t size) {
  const std::size_t columns = size / sizeof(float) / 1024;
  const auto x = std::make_shared<ov::op::v0::Parameter>(ov::element::f32, ov::Shape{1, 1024});
  std::vector<float> values(size / sizeof(float));
  std::minstd_rand random(1);
  for (float& value : values) value = static_cast<float>(random() % 1000) / 1000;
  const auto matrix = ov::op::v0::Constant::create(ov::element::f32, {1024, columns}, values);
  const auto product = std::make_shared<ov::op::v0::MatMul>(x, matrix);
  ov::save_model(std::make_shared<ov::Model>(ov::OutputVector{product}, ov::ParameterVector{x}),
                 base + ".xml", false);
}

// With tags, and the same files under another name without them.
void seal(const std::string& base, const std::string& taggedBase, const std::string& sealedBase) {
  tool::sealPair(base, taggedBase, ByteVector(kKey, kKey + 16));
  for (const char* extension : {".xml", ".bin"}) {
    std::filesystem::create_hard_link(taggedBase + extension, sealedBase + extension);
  }
}

// Starts a process that does nothing but one load. Returns its peak memory in MiB.
double loadInProcess(const std::string& who, bool sealed, const std::string& base) {
  const pid_t child = fork();
  if (child == 0) {
    execl("/proc/self/exe", "load_bench", "--once", who.c_str(), sealed ? "sealed" : "clear",
          base.c_str(), nullptr);
    _exit(1);
  }
  rusage usage = {};
  int status = 0;
  wait4(child, &status, 0, &usage);
  if (status != 0) throw std::runtime_error("a load in a process of its own failed");
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

// What a load can't do without, on memory that is there already: to decrypt or to copy the weights.
void measureLoadLimit(benchmark::State& state, bool sealed, std::size_t size) {
  std::vector<unsigned char> from(size, 1);
  std::vector<unsigned char> to(size + 16, 1);
  if (sealed) {
    measureLimit(state, [&] { decryptInto(to, from); });
  } else {
    measureLimit(state, [&] {
      std::memcpy(to.data(), from.data(), size);
      benchmark::ClobberMemory();
    });
  }
}

void registerLoad(const Workspace& files, std::size_t mebibytes, bool sealed) {
  const std::string size = std::to_string(mebibytes) + "MiB";
  const std::string base = files.base((sealed ? "sealed" : "clear") + size);
  const std::string name = "create/" + size + (sealed ? "_sealed" : "_clear") + "/straight";
  const auto measure = [=, &files](benchmark::State& state) {
    measurePair(
        state, [&] { create(base, sealed, files.dataPath()); },
        [&] { loadStraight(base, sealed); });
    measureLoadLimit(state, sealed, mebibytes << 20);
    state.counters["weights_MiB"] = static_cast<double>(mebibytes);
    state.counters["ours_peak_MiB"] = loadInProcess("ours", sealed, base);
    state.counters["peer_peak_MiB"] = loadInProcess("straight", sealed, base);
  };
  benchmark::RegisterBenchmark(name.c_str(), measure)->UseManualTime()->Iterations(9);
}

// A tag for each MiB, on memory that is there already.
void measureTagsLimit(benchmark::State& state, std::size_t mebibytes) {
  constexpr std::size_t kMebibyte = std::size_t{1} << 20;
  const std::vector<unsigned char> bytes(mebibytes * kMebibyte, 1);
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
      EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  EVP_EncryptInit_ex(context.get(), EVP_aes_128_gcm(), nullptr, kKey, kKey);
  measureLimit(state, [&] {
    unsigned char tag[16];
    int length = 0;
    for (std::size_t i = 0; i < bytes.size(); i += kMebibyte) {
      EVP_EncryptInit_ex(context.get(), nullptr, nullptr, nullptr, kKey);
      EVP_EncryptUpdate(context.get(), nullptr, &length, &bytes[i], kMebibyte);
      EVP_EncryptFinal_ex(context.get(), tag, &length);
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, sizeof(tag), tag);
      benchmark::DoNotOptimize(tag);
    }
  });
}

// What it costs that a sealed pair has tags: some percent, which nine turns do not tell from ten.
void registerTaggedLoad(const Workspace& files, std::size_t mebibytes) {
  const std::string size = std::to_string(mebibytes) + "MiB";
  const std::string tagged = files.base("tagged" + size), sealed = files.base("sealed" + size);
  const auto measure = [=, &files](benchmark::State& state) {
    measurePair(
        state, [&] { create(tagged, true, files.dataPath()); },
        [&] { create(sealed, true, files.dataPath()); });
    measureTagsLimit(state, mebibytes);
    state.counters["ours_peak_MiB"] = loadInProcess("ours", true, tagged);
    state.counters["peer_peak_MiB"] = loadInProcess("ours", true, sealed);
  };
  benchmark::RegisterBenchmark(("authenticate/" + size + "/without_tags").c_str(), measure)
      ->UseManualTime()
      ->Iterations(31);
}

// As a product starts: a new process on a machine that was quiet for longer than Linux keeps free
// memory before it reports it to the host of a virtual machine, which is 2 s.
void registerFirstLoad(const Workspace& files, bool sealed) {
  const std::string kind = sealed ? "sealed" : "clear";
  const std::string base = files.base(kind + "256MiB");
  const auto measure = [=](benchmark::State& state) {
    const auto by = [&](const char* who) { return [=] { loadInProcess(who, sealed, base); }; };
    measurePair(state, by("ours"), by("straight"),
                [] { std::this_thread::sleep_for(std::chrono::seconds(3)); });
  };
  benchmark::RegisterBenchmark(("first_load/256MiB_" + kind + "/straight").c_str(), measure)
      ->UseManualTime()
      ->Iterations(5);
}

void registerLoads(const Workspace& files) {
  for (const std::size_t mebibytes : {std::size_t{64}, std::size_t{256}}) {
    const std::string size = std::to_string(mebibytes) + "MiB";
    const std::string clear = files.base("clear" + size);
    writeLargeModel(clear, mebibytes << 20);
    seal(clear, files.base("tagged" + size), files.base("sealed" + size));
    for (const bool sealed : {false, true}) registerLoad(files, mebibytes, sealed);
    registerTaggedLoad(files, mebibytes);
  }
  for (const bool sealed : {false, true}) registerFirstLoad(files, sealed);
}

int loadOnce(const std::string& who, bool sealed, const std::string& base) {
  if (who == "straight") {
    loadStraight(base, sealed);
  } else {
    create(base, sealed, (std::filesystem::path(base).parent_path() / "").string());
  }
  return 0;
}

int main(Arguments arguments) {
  if (arguments.size() == 5 && std::string(arguments[1]) == "--once") {
    return loadOnce(arguments[2], std::string(arguments[3]) == "sealed", arguments[4]);
  }
  const Workspace files;
  registerLoads(files);
  return runBenchmarks(std::move(arguments));
}

}  // namespace
}  // namespace OMB::bench

int main(int count, char** arguments) {
  return OMB::bench::guarded(count, arguments, OMB::bench::main);
}
