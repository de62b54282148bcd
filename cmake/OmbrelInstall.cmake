# What `cmake --install` gives.
include(CMakePackageConfigHelpers)
