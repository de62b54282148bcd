// Files that are there whole or not at all.
#pragma once

#include <span>
#include <string>

namespace OMB::system {

/// Writes `first` and `second` to a file of that name, in the place of one that is there. It is
/// written and stored under another name beside it before it takes the name, so that whoever opens
/// the name finds the old one or the new one. Only its owner may read it, where the system does not
/// give rights by the folder. False on failure, which leaves the name as it was.
[[nodiscard]] bool writeNewFile(const std::string& path, std::span<const unsigned char> first,
                                std::span<const unsigned char> second);

}  // namespace OMB::system
