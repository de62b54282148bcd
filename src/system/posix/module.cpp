#include "system/module.h"

#include <array>
#include <cerrno>
#include <dlfcn.h>
#include <filesystem>
#include <limits.h>
#include <link.h>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <utility>
#include <vector>

#include "system/posix/elf_file.h"
#include "system/search_directory.h"

namespace fs = std::filesystem;

namespace OMB::system {

const char kModuleSuffix[] = ".so";

namespace {

constexpr int kOpenMode = RTLD_NOW | RTLD_LOCAL;

constexpr std::uint32_t kAccessDenied = 5;       // a folder, or a file that may not be read
constexpr std::uint32_t kNotALibrary = 193;      // none of this machine, or one cut short
constexpr std::uint32_t kLoadFailed = 1114;      // the library is sound but does not load
constexpr std::uint32_t kNeededNotFound = 1157;  // a library that the library needs is not there

struct Closer {
  void operator()(Module module) const noexcept { dlclose(module); }
};
using HeldModule = std::unique_ptr<void, Closer>;

Opened failed(std::uint32_t code, std::string text = {}) {
  return {nullptr, {code, std::move(text)}};
}

// What a file says of itself, or why it may not be given to the loader.
struct Examined {
  std::optional<LibraryFile> library = {};
  Failure failure = {};
};

Examined examineFile(const std::string& path) {
  const OpenFile file(path);
  if (file.native() == OpenFile::kNone) {
    const int error = errno;
    if (error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG) {
      return {.failure = {kModuleNotFound}};
    }
    return {.failure = {kAccessDenied, path + ": " + std::generic_category().message(error)}};
  }
  if (file.size() < 0) return {.failure = {kAccessDenied, path + ": not a file"}};
  LibraryFile library = readLibraryFile(static_cast<int>(file.native()));
  if (library.fault != nullptr) {
    return {.failure = {kNotALibrary, path + ": " + library.fault}};
  }
  return {.library = std::move(library)};
}

std::string lastLoaderText() {
  const char* text = dlerror();
  return text == nullptr ? std::string() : std::string(text);
}

// The loader's texts are translated, but begin with the name of what they are about. A file that
// was found is named by its path, so a bare name is that of a library that was not.
Failure loaderFailure(std::string text) {
  const bool found = text.substr(0, text.find(": ")).find('/') != std::string::npos;
  return {found ? kLoadFailed : kNeededNotFound, std::move(text)};
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

// The file of that name in the search directory; a folder of that name is not what is looked for.
std::optional<std::string> findInSearchDirectory(const std::string& name) {
  const std::optional<std::string> directory = searchDirectory();
  if (!directory) return std::nullopt;
  std::string path = fullPath(fs::path(*directory) / name);
  if (!isFile(path)) return std::nullopt;
  return path;
}

// The loader's own search can't be given a folder at run time. But it takes a module that is in the
// process for a needed library of that name, by its soname. So what a library needs and the search
// directory has is opened first, and let go again when the library itself holds it.
class NeededLibraries {
 public:
  // A library that does not open here may yet be found in another way by what needs it.
  void open(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      if (visited.insert(name).second) openOne(name);
    }
  }

  // Why the library did not open that needs these, when the loader says `text`.
  Failure explain(std::string text) const {
    if (failure.code != 0) return failure;
    const auto stranger = strangers.find(text.substr(0, text.find(": ")));
    if (stranger == strangers.end()) return loaderFailure(std::move(text));
    return {kNeededNotFound, stranger->second + ": its soname is not " + stranger->first +
                                 ", so what needs it does not find it"};
  }

 private:
  void openOne(const std::string& name) {
    if (name.find('/') != std::string::npos) return;
    if (const HeldModule loaded(dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD)); loaded) return;
    const std::optional<std::string> path = findInSearchDirectory(name);
    if (!path) return;

    Examined file = examineFile(*path);
    if (!file.library) return note(std::move(file.failure));
    if (file.library->soname != name) strangers.emplace(name, *path);
    open(file.library->needed);
    HeldModule module(dlopen(path->c_str(), kOpenMode));
    if (!module) return note(loaderFailure(lastLoaderText()));
    modules.push_back(std::move(module));
  }

  void note(Failure why) {
    if (failure.code == 0) failure = std::move(why);
  }

  std::set<std::string> visited;
  std::vector<HeldModule> modules;
  Failure failure;  // the first; code 0 for none
  // By the names that they are needed by, files that have another soname or none.
  std::map<std::string, std::string> strangers;
};

Opened openFile(const std::string& path) {
  Examined file = examineFile(path);
  if (!file.library) return {nullptr, std::move(file.failure)};
  NeededLibraries needed;
  needed.open(file.library->needed);
  if (const Module module = dlopen(path.c_str(), kOpenMode); module != nullptr) return {module};
  return {nullptr, needed.explain(lastLoaderText())};
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
  return dlopen(search.path.data(), kOpenMode | RTLD_NOLOAD);
}

Opened openBySystem(const std::string& fileName) {
  if (const Module module = dlopen(fileName.c_str(), kOpenMode); module != nullptr) return {module};
  std::string text = lastLoaderText();
  if (text.starts_with(fileName + ": ")) return failed(kModuleNotFound);
  return {nullptr, loaderFailure(std::move(text))};
}

link_map* linkMapOf(Module module) {
  link_map* map = nullptr;
  return dlinfo(module, RTLD_DI_LINKMAP, &map) == 0 ? map : nullptr;
}

// Up to the longest path that is told whole: of a character, what follows its first byte goes with
// it.
void cut(std::string& path) {
  std::size_t characters = 0;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const bool first = (static_cast<unsigned char>(path[i]) & 0xC0) != 0x80;
    characters += first;
    if (characters > kLongestModulePath) return path.resize(i);
  }
}

}  // namespace

Opened openModule(const char* text) {
  const std::string name = text;
  if (name.empty()) return failed(kModuleNotFound);
  if (name.front() == '/') return openFile(fullPath(name));
  const bool bare = name.find('/') == std::string::npos;
  if (bare) {
    if (const Module module = findLoaded(name); module != nullptr) return {module};
  }
  if (const std::optional<std::string> path = findInSearchDirectory(name)) return openFile(*path);
  return bare ? openBySystem(name) : openFile(fullPath(name));
}

Failure closeModule(Module module) {
  if (dlclose(module) == 0) return {};
  return {kLoadFailed, lastLoaderText()};
}

Failure closeModuleForGood(Module module) {
  // The loader keeps a module that was once opened in this way.
  if (const link_map* map = linkMapOf(module)) {
    const HeldModule kept(dlopen(map->l_name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE));
  }
  return closeModule(module);
}

void* findSymbol(Module module, const char* name) {
  void* address = dlsym(module, name);
  if (address == nullptr) return nullptr;
  Dl_info info;
  void* owner = nullptr;
  if (dladdr1(address, &info, &owner, RTLD_DL_LINKMAP) == 0) return nullptr;
  return owner == linkMapOf(module) ? address : nullptr;
}

std::string moduleFile(Module module) {
  const link_map* map = linkMapOf(module);
  if (map == nullptr || *map->l_name == '\0') return {};
  std::string path = *map->l_name == '/' ? std::string(map->l_name) : fullPath(map->l_name);
  cut(path);
  return path;
}

}  // namespace OMB::system
