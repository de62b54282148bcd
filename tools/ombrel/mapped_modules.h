// What the process has mapped.
#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace OMB::tool {

/// The names of the files in a folder from which a library is mapped now.
std::set<std::string> modulesFrom(const std::filesystem::path& folder);

}  // namespace OMB::tool
