#include "system/posix/mapped_files.h"

#include <fstream>
#include <sstream>

namespace OMB::system {

std::vector<Mapping> readMappings() {
  // A line is "start-end rights offset device inode path", the numbers in hex but for the inode.
  std::vector<Mapping> mappings;
  std::ifstream list("/proc/self/maps");
  for (std::string line; std::getline(list, line);) {
    std::istringstream fields(line);
    Mapping mapping{};
    std::string rights, offset;
    char dash = 0;
    fields >> std::hex >> mapping.start >> dash >> mapping.end >> rights >> offset >>
        mapping.file.device >> std::dec >> mapping.file.inode;
    if (!fields) return {};
    mappings.push_back(std::move(mapping));
  }
  return mappings;
}

}  // namespace OMB::system
