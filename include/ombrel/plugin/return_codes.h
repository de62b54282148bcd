// What the operations of the plug-in system answer.
#pragma once

namespace OMB {

inline constexpr int PLUGIN_OK = 0;                ///< loaded, or loaded before under that name
inline constexpr int PLUGIN_LOAD_FAILED = -1;      ///< the plug-in's own library cannot be loaded
inline constexpr int DEPENDENCY_LOAD_FAILED = -2;  ///< a dependency cannot be loaded
inline constexpr int DEPENDENCY_READ_FAILED =
    -3;  ///< a dependency's file cannot be opened, or is empty
inline constexpr int INITIALIZE_MISSING = -4;      ///< the plug-in has no initialize entry
inline constexpr int INTEGRITY_CHECK_FAILED = -7;  ///< no digest of a dependency matched its file

}  // namespace OMB
