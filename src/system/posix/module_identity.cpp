// Whether a module is mapped from a file. The device numbers of the list of mappings are not those
// of stat on every file system, so a page of the open file is mapped to see how the list names it.
#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <span>
#include <string_view>
#include <sys/mman.h>
#include <vector>

#include "system/module.h"
#include "system/posix/mapped_files.h"

namespace OMB::system {
namespace {

using Segment = ElfW(Phdr);

// A page of the file, for as long as the list is looked at.
class MappedPage {
 public:
  explicit MappedPage(const OpenFile& file)
      : address(mmap(nullptr, 1, PROT_READ, MAP_PRIVATE, static_cast<int>(file.native()), 0)) {}
  ~MappedPage() {
    if (address != MAP_FAILED) munmap(address, 1);
  }
  MappedPage(const MappedPage&) = delete;
  MappedPage& operator=(const MappedPage&) = delete;

  std::uintptr_t start() const { return reinterpret_cast<std::uintptr_t>(address); }

 private:
  void* address;
};

struct Range {
  std::uintptr_t start;
  std::uintptr_t end;
};

// By which others find a module: its soname, or the last part of its path if it has none.
std::string_view nameOf(const dl_phdr_info& info) {
  const std::span<const Segment> segments(info.dlpi_phdr, info.dlpi_phnum);
  ElfW(Addr) names = 0;
  const ElfW(Dyn)* soname = nullptr;
  for (const Segment& segment : segments) {
    if (segment.p_type != PT_DYNAMIC) continue;
    const auto* entry = reinterpret_cast<const ElfW(Dyn)*>(info.dlpi_addr + segment.p_vaddr);
    for (; entry->d_tag != DT_NULL; ++entry) {
      if (entry->d_tag == DT_STRTAB) names = entry->d_un.d_ptr;
      if (entry->d_tag == DT_SONAME) soname = entry;
    }
  }
  if (soname != nullptr && names != 0) {
    // The loader has made this an address, except in what the kernel maps by itself.
    if (names < info.dlpi_addr) names += info.dlpi_addr;
    return reinterpret_cast<const char*>(names) + soname->d_un.d_val;
  }
  const std::string_view path(info.dlpi_name);
  return path.substr(path.rfind('/') + 1);
}

// What is found of a module among all of the process, without memory of the heap: no exception may
// pass through the loader. Its name lies in the module itself.
struct Search {
  const link_map* module;
  std::string_view name = {};       // by which others find it
  std::array<Range, 16> code = {};  // its executable memory
  std::size_t count = 0;            // of pieces of it, also if there are more than fit
  int namesakes = 0;                // itself included
};

int findModule(dl_phdr_info* info, std::size_t /*size*/, void* argument) {
  auto& search = *static_cast<Search*>(argument);
  if (info->dlpi_addr != search.module->l_addr ||
      std::string_view(info->dlpi_name) != search.module->l_name) {
    return 0;
  }
  search.name = nameOf(*info);
  for (const Segment& segment : std::span(info->dlpi_phdr, info->dlpi_phnum)) {
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
    const std::uintptr_t start = info->dlpi_addr + segment.p_vaddr;
    if (search.count < search.code.size()) {
      search.code[search.count] = {start, start + segment.p_memsz};
    }
    ++search.count;
  }
  return 1;
}

int countNamesakes(dl_phdr_info* info, std::size_t /*size*/, void* argument) {
  auto& search = *static_cast<Search*>(argument);
  search.namesakes += nameOf(*info) == search.name;
  return 0;
}

// The mapping that the address lies in, or the next behind it.
auto mappingAt(std::uintptr_t address, const std::vector<Mapping>& mappings) {
  return std::ranges::upper_bound(mappings, address, {}, &Mapping::end);
}

// Whether all that is mapped of the range is of that file.
bool isMapped(const Range& range, const std::vector<Mapping>& mappings, const FileIdentity& file) {
  for (std::uintptr_t proven = range.start; proven < range.end;) {
    const auto mapping = mappingAt(proven, mappings);
    if (mapping == mappings.end() || mapping->file != file) return false;
    proven = mapping->end;
  }
  return true;
}

}  // namespace

bool isMappedFrom(Module module, const OpenFile& file) {
  Search search{nullptr};
  if (dlinfo(module, RTLD_DI_LINKMAP, &search.module) != 0) return false;
  dl_iterate_phdr(findModule, &search);
  dl_iterate_phdr(countNamesakes, &search);

  const MappedPage page(file);
  const std::vector<Mapping> mappings = readMappings();
  const auto own = mappingAt(page.start(), mappings);
  if (own == mappings.end()) return false;
  const bool told = search.count > 0 && search.count <= search.code.size();
  return told && search.namesakes == 1 &&
         std::ranges::all_of(std::span(search.code).first(search.count), [&](const Range& range) {
           return isMapped(range, mappings, own->file);
         });
}

}  // namespace OMB::system
