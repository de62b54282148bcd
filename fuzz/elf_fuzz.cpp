// What is read of a library file before the loader gets it.
#include <limits.h>

#include "fuzz_input.h"
#include "platform/posix/elf_needed.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const OMB::fuzz::MemoryFile file;
  file.write(data, size);
  const OMB::posix::LibraryFile library = OMB::posix::readLibraryFile(file.descriptor());
  REQUIRE(library.fault == nullptr || library.needed.empty());
  for (const std::string& name : library.needed) {
    REQUIRE(!name.empty() && name.size() <= NAME_MAX);
    REQUIRE(name.find('\0') == std::string::npos);
  }
  return 0;
}
