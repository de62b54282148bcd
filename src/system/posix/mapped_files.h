// Which file the memory of the process is mapped from.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace OMB::system {

/// A file as the kernel tells it apart, in the form of its list of mappings.
struct FileIdentity {
  std::string device = {};
  std::uint64_t inode = 0;  ///< 0 for memory of no file

  bool operator==(const FileIdentity&) const = default;
};

struct Mapping {
  std::uintptr_t end;  ///< the first address behind it
  FileIdentity file;
};

/// The mappings of the process as they are now, in the order of their addresses; empty if the
/// kernel does not tell.
std::vector<Mapping> readMappings();

}  // namespace OMB::system
