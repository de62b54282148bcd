#include "platform/posix/open_library.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <limits.h>
#include <link.h>
#include <optional>
#include <set>
#include <string.h>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/posix/elf_needed.h"
#include "platform/posix/error_codes.h"
#include "platform/posix/search_directory.h"

namespace fs = std::filesystem;

namespace OMB::posix {
namespace {

constexpr int openMode = RTLD_NOW | RTLD_LOCAL;

Opened failure(DWORD code, std::string text = {}) {
  return {nullptr, code, std::move(text)};
}

class Descriptor {
 public:
  // Without waiting: the file may be a pipe.
  explicit Descriptor(const std::string& path)
      : value_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~Descriptor() {
    if (value_ >= 0) close(value_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int value() const { return value_; }

 private:
  int value_;
};

// What a file says of itself, or why it may not be given to the loader.
struct Examined {
  std::optional<LibraryFile> library;
  Opened failed;
};

Examined examineFile(const std::string& path) {
  const Descriptor file(path);
  if (file.value() < 0) {
    const int error = errno;
    if (error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG) {
      return {std::nullopt, failure(ERROR_MOD_NOT_FOUND)};
    }
    return {std::nullopt,
            failure(accessDenied, path + ": " + std::generic_category().message(error))};
  }
  struct stat status;
  if (fstat(file.value(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return {std::nullopt, failure(accessDenied, path + ": not a file")};
  }
  LibraryFile library = readLibraryFile(file.value());
  if (library.fault != nullptr) {
    return {std::nullopt, failure(notALibrary, path + ": " + library.fault)};
  }
  return {std::move(library), {}};
}

std::string lastLoaderText() {
  const char* text = dlerror();
  return text == nullptr ? std::string() : std::string(text);
}

// The loader's texts are translated, but begin with the name of what they are about. A file that
// was found is named by its path, so a bare name is that of a library that was not.
std::string_view subjectOf(std::string_view text) {
  return text.substr(0, text.find(": "));
}

Opened loaderFailure(std::string text) {
  const bool found = subjectOf(text).find('/') != std::string_view::npos;
  return failure(found ? loadFailed : neededNotFound, std::move(text));
}

// The path with its folder resolved and its last part as it is.
std::string fullPath(const fs::path& path) {
  std::error_code error;
  const fs::path folder =
      fs::canonical(path.has_parent_path() ? path.parent_path() : fs::path("."), error);
  return error ? path.string() : (folder / path.filename()).string();
}

bool isFile(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// The loader's own search can't be given a folder at run time. But it takes a module that is in the
// process for a needed library of that name, by its soname. So what a library needs and the search
// directory has is opened first, and let go again when the library itself holds it.
class NeededLibraries {
 public:
  explicit NeededLibraries(std::string directory) : directory_(std::move(directory)) {}

  // A library that does not open here may yet be found in another way by what needs it.
  void open(const std::vector<std::string>& names) {
    if (directory_.empty()) return;
    for (const std::string& name : names) {
      if (visited_.insert(name).second) openOne(name);
    }
  }

  const Opened& firstFailure() const { return firstFailure_; }

 private:
  void openOne(const std::string& name) {
    if (name.find('/') != std::string::npos) return;
    if (const Module loaded(dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD)); loaded) return;
    const std::string path = fullPath(fs::path(directory_) / name);
    if (!isFile(path)) return;

    Examined file = examineFile(path);
    if (!file.library) return note(std::move(file.failed));
    open(file.library->needed);
    Module module(dlopen(path.c_str(), openMode));
    if (!module) return note(loaderFailure(lastLoaderText()));
    modules_.push_back(std::move(module));
  }

  void note(Opened failed) {
    if (firstFailure_.code == ERROR_MOD_NOT_FOUND) firstFailure_ = std::move(failed);
  }

  std::string directory_;
  std::set<std::string> visited_;
  std::vector<Module> modules_;
  Opened firstFailure_;
};

Opened openFile(const std::string& path) {
  Examined file = examineFile(path);
  if (!file.library) return std::move(file.failed);

  NeededLibraries needed(searchDirectory());
  needed.open(file.library->needed);
  if (Module module(dlopen(path.c_str(), openMode)); module) return {std::move(module), 0, {}};
  std::string text = lastLoaderText();
  // Says more than that the loader misses the needed library.
  if (!needed.firstFailure().text.empty()) {
    return failure(needed.firstFailure().code, needed.firstFailure().text);
  }
  return loaderFailure(std::move(text));
}

struct Search {
  std::string_view fileName;
  std::array<char, PATH_MAX> path{};
};

int visitModule(dl_phdr_info* info, std::size_t /*size*/, void* argument) {
  Search& search = *static_cast<Search*>(argument);
  const std::string_view path(info->dlpi_name);
  if (path.size() >= search.path.size()) return 0;
  if (path.substr(path.rfind('/') + 1) != search.fileName) return 0;
  search.path[path.copy(search.path.data(), path.size())] = '\0';
  return 1;
}

// A module of that file name that is in the process already, wherever it came from.
Module findLoaded(const std::string& fileName) {
  Search search{fileName};
  if (dl_iterate_phdr(visitModule, &search) == 0) return nullptr;
  return Module(dlopen(search.path.data(), openMode | RTLD_NOLOAD));
}

Opened openBySystem(const std::string& fileName) {
  if (Module module(dlopen(fileName.c_str(), openMode)); module) return {std::move(module), 0, {}};
  std::string text = lastLoaderText();
  if (subjectOf(text) == fileName) return failure(ERROR_MOD_NOT_FOUND);
  return loaderFailure(std::move(text));
}

link_map* linkMapOf(void* module) {
  link_map* map = nullptr;
  return dlinfo(module, RTLD_DI_LINKMAP, &map) == 0 ? map : nullptr;
}

}  // namespace

Opened openLibrary(const std::string& name) {
  if (name.empty()) return failure(ERROR_MOD_NOT_FOUND);
  if (name.find('/') != std::string::npos) return openFile(fullPath(name));
  if (Module module = findLoaded(name); module) return {std::move(module), 0, {}};
  // A folder of that name is not what is looked for.
  if (const std::string directory = searchDirectory(); !directory.empty()) {
    const std::string path = fullPath(fs::path(directory) / name);
    if (isFile(path)) return openFile(path);
  }
  return openBySystem(name);
}

std::string fileOf(void* module) {
  const link_map* map = linkMapOf(module);
  if (map == nullptr || *map->l_name == '\0') return {};
  return *map->l_name == '/' ? std::string(map->l_name) : fullPath(map->l_name);
}

void* findSymbol(void* module, const char* name) {
  void* address = dlsym(module, name);
  if (address == nullptr) return nullptr;
  Dl_info info;
  void* owner = nullptr;
  if (dladdr1(address, &info, &owner, RTLD_DL_LINKMAP) == 0) return nullptr;
  return owner == linkMapOf(module) ? address : nullptr;
}

}  // namespace OMB::posix
