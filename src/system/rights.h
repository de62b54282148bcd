// Who may change what lies on the disk.
#pragma once

#include <string>

namespace OMB::system {

/// Both look at one file or folder, in UTF-8 or the system's own bytes, and not at those above it.
/// Others are all but this user and the system's administrators. What can't be told counts as yes.

/// Whether others may write into the file, or bring files into the folder.
[[nodiscard]] bool mayOthersWrite(const std::string& path);

/// Whether others may put something in the place of what this user has in the folder. Not so in the
/// common folder for temporary files, which all may write to.
[[nodiscard]] bool mayOthersReplaceIn(const std::string& folder);

}  // namespace OMB::system
