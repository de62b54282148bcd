// Paths from and to texts in UTF-8, or in the system's own bytes where its paths are made of those.
#pragma once

#include <filesystem>
#include <string>

namespace OMB {

inline std::filesystem::path pathOf(const std::string& name) {
#if defined(_WIN32)
  return std::u8string(name.begin(), name.end());
#else
  return name;
#endif
}

inline std::string textOf(const std::filesystem::path& path) {
#if defined(_WIN32)
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
#else
  return path.string();
#endif
}

}  // namespace OMB
