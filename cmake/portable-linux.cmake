# Build for older Linux on x86-64: with the compiler and the C and C++ libraries of Debian 11, in the folder that
# scripts/bootstrap --portable unpacks them into, so that nothing newer is asked for at run time.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
get_filename_component(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../.deps/portable ABSOLUTE)
if(NOT EXISTS ${CMAKE_SYSROOT})
  message(FATAL_ERROR "${CMAKE_SYSROOT} is not there; run scripts/bootstrap --portable")
endif()
set(CMAKE_CXX_COMPILER ${CMAKE_SYSROOT}/usr/bin/g++-10)
set(CMAKE_C_COMPILER ${CMAKE_SYSROOT}/usr/bin/gcc-10)
set(CMAKE_LIBRARY_ARCHITECTURE x86_64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)  # the engine's and our own stand outside

# What libstdc++ has not had for long, std::filesystem above all, is linked in, hidden; all else is the system's,
# since strings and exceptions pass between a host, the framework and a backend.
set(CMAKE_CXX_STANDARD_LIBRARIES_INIT -lstdc++_newer)
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,--exclude-libs,ALL)
