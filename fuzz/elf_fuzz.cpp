// What is read of a library file before the loader gets it.
#include <limits.h>

#include "fuzz_input.h"
#include "system/posix/elf_file.h"

void OMB::fuzz::run(Input input) {
  int descriptor = 0;
  fileOf(input.rest(), &descriptor);
  const system::LibraryFile library = system::readLibraryFile(descriptor);
  REQUIRE(library.fault == nullptr || library.needed.empty());
  REQUIRE(library.soname.size() <= NAME_MAX);
  for (const std::string& name : library.needed) REQUIRE(!name.empty() && name.size() <= NAME_MAX);
}
