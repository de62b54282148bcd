#include "system/posix/elf_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <elf.h>
#include <limits.h>
#include <link.h>
#include <optional>
#include <span>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace OMB::system {
namespace {

using FileHeader = ElfW(Ehdr);
using Segment = ElfW(Phdr);
using Entry = ElfW(Dyn);

constexpr unsigned char kOwnClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
constexpr unsigned char kOwnOrder =
    std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
#if defined(__x86_64__)
constexpr ElfW(Half) kOwnMachine = EM_X86_64;
#elif defined(__aarch64__)
constexpr ElfW(Half) kOwnMachine = EM_AARCH64;
#else
#error "name the ELF machine of this processor"
#endif

// More than any library has; keeps a hostile file from making us read for long.
constexpr std::size_t kEntryLimit = 1u << 16;

constexpr const char* kCutShort = "the file is cut short";
constexpr const char* kNotElf = "the file is not a library";
constexpr const char* kOtherMachine = "the library is for another machine";
constexpr const char* kNotDynamic = "the file has no dynamic section";

class Reader {
 public:
  explicit Reader(int openFile) : descriptor(openFile) {}

  // Reads up to the size of the span; the number of bytes that there were.
  std::size_t read(std::uint64_t offset, std::span<std::byte> to) const {
    std::size_t done = 0;
    while (done < to.size() && offset + done <= static_cast<std::uint64_t>(LLONG_MAX)) {
      const ssize_t got =
          pread(descriptor, to.data() + done, to.size() - done, static_cast<off_t>(offset + done));
      if (got <= 0) break;
      done += static_cast<std::size_t>(got);
    }
    return done;
  }

  template <typename T>
  bool readAll(std::uint64_t offset, std::span<T> to) const {
    return read(offset, std::as_writable_bytes(to)) == to.size_bytes();
  }

 private:
  int descriptor;
};

const char* faultOf(const FileHeader& header) {
  if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) return kNotElf;
  if (header.e_ident[EI_CLASS] != kOwnClass || header.e_ident[EI_DATA] != kOwnOrder ||
      header.e_machine != kOwnMachine) {
    return kOtherMachine;
  }
  if (header.e_type != ET_DYN || header.e_phentsize != sizeof(Segment)) return kNotElf;
  return nullptr;
}

bool fitsInFile(const Segment& segment, std::uint64_t fileSize) {
  return segment.p_offset <= fileSize && segment.p_filesz <= fileSize - segment.p_offset;
}

// Where the byte that is to be at `address` stands in the file.
std::optional<std::uint64_t> offsetOf(std::uint64_t address, std::span<const Segment> segments) {
  for (const Segment& segment : segments) {
    if (segment.p_type != PT_LOAD || address < segment.p_vaddr) continue;
    const std::uint64_t distance = address - segment.p_vaddr;
    if (distance < segment.p_filesz) return segment.p_offset + distance;
  }
  return std::nullopt;
}

// The dynamic section up to the entry that ends it.
std::vector<Entry> readEntries(const Reader& reader, const Segment& section) {
  std::vector<Entry> entries(std::min<std::size_t>(section.p_filesz / sizeof(Entry), kEntryLimit));
  if (!reader.readAll(section.p_offset, std::span(entries))) return {};
  const auto end = std::find_if(entries.begin(), entries.end(),
                                [](const Entry& entry) { return entry.d_tag == DT_NULL; });
  entries.erase(end, entries.end());
  return entries;
}

// As far as a file name may go.
std::string readName(const Reader& reader, std::uint64_t offset) {
  std::array<char, NAME_MAX> name;
  const std::size_t size = reader.read(offset, std::as_writable_bytes(std::span(name)));
  return std::string(name.data(), strnlen(name.data(), size));
}

void readNames(const Reader& reader, std::span<const Entry> entries,
               std::span<const Segment> segments, LibraryFile& library) {
  std::optional<std::uint64_t> names;
  for (const Entry& entry : entries) {
    if (entry.d_tag == DT_STRTAB) names = offsetOf(entry.d_un.d_ptr, segments);
  }
  if (!names) return;
  for (const Entry& entry : entries) {
    if (entry.d_tag != DT_NEEDED && entry.d_tag != DT_SONAME) continue;
    std::string name = readName(reader, *names + entry.d_un.d_val);
    if (name.empty()) continue;
    if (entry.d_tag == DT_SONAME) {
      library.soname = std::move(name);
    } else {
      library.needed.push_back(std::move(name));
    }
  }
}

}  // namespace

LibraryFile readLibraryFile(int descriptor) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return {kCutShort};
  const auto fileSize = static_cast<std::uint64_t>(status.st_size);

  const Reader reader(descriptor);
  FileHeader header;
  if (!reader.readAll(0, std::span(&header, 1))) return {kNotElf};
  if (const char* fault = faultOf(header)) return {fault};

  std::vector<Segment> segments(header.e_phnum);
  if (!reader.readAll(header.e_phoff, std::span(segments))) return {kCutShort};
  const Segment* section = nullptr;
  for (const Segment& segment : segments) {
    const bool used = segment.p_type == PT_LOAD || segment.p_type == PT_DYNAMIC;
    if (used && !fitsInFile(segment, fileSize)) return {kCutShort};
    if (segment.p_type == PT_DYNAMIC) section = &segment;
  }
  if (section == nullptr) return {kNotDynamic};
  LibraryFile library;
  readNames(reader, readEntries(reader, *section), segments, library);
  return library;
}

}  // namespace OMB::system
