// Takes the key of a sealed pair out of the kernel's keyring, loads the pair and forgets the key.
//
//   keyring put NAME < KEY       what an installer, a login or a licence agent does
//   keyring run NAME MODEL_BASE  what the host does
//
// For Linux, where a key in there is in no file, no environment and no command line, can be read by
// the processes of one user only, and ends by itself.
#include <cstdio>
#include <filesystem>
#include <linux/keyctl.h>
#include <memory>
#include <ombrel/ombrel.h>
#include <stdexcept>
#include <string_view>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr char kType[] = "user";
constexpr std::size_t kKeyBytes = 16;
constexpr unsigned int kSeconds = 24 * 60 * 60;

// The C library has no functions for the keyring. A negative number says that it failed.
long keyctl(int operation, long one, long two, long three = 0, long four = 0) {
  return syscall(SYS_keyctl, operation, one, two, three, four);
}

// Makes this process a holder of what the user's keyring holds, as a login does and a service's
// start may not.
void joinUserKeyring() {
  if (keyctl(KEYCTL_LINK, KEY_SPEC_USER_KEYRING, KEY_SPEC_PROCESS_KEYRING) < 0) {
    throw std::runtime_error("the kernel gives no keyring");
  }
}

template <typename Pointed>
long address(Pointed* pointer) {
  return reinterpret_cast<long>(pointer);
}

// 32 hex digits, as ombrel keygen writes them. Read without a stream, whose buffer nobody wipes.
OMB::ByteVector readKey() {
  OMB::ByteVector digits(2 * kKeyBytes), key(kKeyBytes);
  std::size_t count = 0;
  while (count < digits.size()) {
    const ssize_t got = read(STDIN_FILENO, digits.data() + count, digits.size() - count);
    if (got <= 0) break;
    count += static_cast<std::size_t>(got);
  }
  const std::string_view text(reinterpret_cast<const char*>(digits.data()), count);
  if (!OMB::Utility::decodeHex(text, key)) throw std::runtime_error("not 32 hex digits");
  return key;
}

void put(const char* name) {
  const OMB::ByteVector key = readKey();
  const long number =
      syscall(SYS_add_key, kType, name, key.data(), key.size(), KEY_SPEC_USER_KEYRING);
  if (number < 0 || keyctl(KEYCTL_SET_TIMEOUT, number, kSeconds) < 0) {
    throw std::runtime_error("the kernel does not keep the key");
  }
}

// The bytes are wiped when the vector ends.
OMB::ByteVector fetch(const char* name) {
  const long number = keyctl(KEYCTL_SEARCH, KEY_SPEC_USER_KEYRING, address(kType), address(name));
  OMB::ByteVector key(kKeyBytes);
  if (number < 0 || keyctl(KEYCTL_READ, number, address(key.data()), kKeyBytes) != kKeyBytes) {
    throw std::runtime_error("this user has no such key");
  }
  return key;
}

int run(const char* name, const std::filesystem::path& folder, const char* base) {
  // See host.cpp for the proof of the package, which comes first in a product.
  OMB::PluginManager manager;
  manager.SetPluginsDirectory(folder.c_str());
  OMB::DynamicPlugin plugin =
      OMB::makePlugin(OMB::readManifest((folder / "openvino.json").string()));
  if (manager.Load(plugin) != OMB::PLUGIN_OK) return 5;
  OMB::Config config;
  config.SetDataPath((folder / "").string());

  std::unique_ptr<OMB::INNModel> model;
  {
    OMB::ByteVector key = fetch(name);  // as late as can be, and no longer than Create needs it
    model.reset(plugin.GetCreateMethod()({base, key.data(), static_cast<int>(key.size()), config}));
  }
  std::printf("%s\n", model->IsLoaded() ? "loaded" : "not loaded");
  return model->IsLoaded() ? 0 : 2;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    joinUserKeyring();
    const std::string_view command = count > 2 ? arguments[1] : "";
    if (command == "put" && count == 3) {
      put(arguments[2]);
      return 0;
    }
    if (command == "run" && count == 5) return run(arguments[2], arguments[3], arguments[4]);
    std::fprintf(stderr, "Usage: keyring put NAME, or keyring run NAME FOLDER MODEL\n");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  return 1;
}
