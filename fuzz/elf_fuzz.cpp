// What is read of a library file before the loader gets it.
#include <limits.h>

#include "fuzz_input.h"
#include "platform/posix/elf_needed.h"

void OMB::fuzz::run(Input input) {
  int descriptor = 0;
  fileOf(input.rest(), &descriptor);
  const posix::LibraryFile library = posix::readLibraryFile(descriptor);
  REQUIRE(library.fault == nullptr || library.needed.empty());
  for (const std::string& name : library.needed) REQUIRE(!name.empty() && name.size() <= NAME_MAX);
}
