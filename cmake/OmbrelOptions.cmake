# What can be chosen at configure time, and the flags that come of it.

option(OMBREL_BUILD_BACKEND "Build the OpenVINO backend and the host program" ON)
option(OMBREL_INSTALL "Install; in another's project only where that asks for it" ${PROJECT_IS_TOP_LEVEL})
option(OMBREL_DEBIAN "Install as packages of Debian want it, and have cpack make them" OFF)
option(OMBREL_BUILD_TESTS "Build the tests" OFF)
option(OMBREL_TEST_PACKAGE "Test what is installed, also without the other tests; not with sanitizers" OFF)
option(OMBREL_BUILD_BENCH "Build the benchmarks (need OpenCV and Google Benchmark)" OFF)
option(OMBREL_BUILD_FUZZ "Build the fuzz targets" OFF)
option(OMBREL_WARNINGS_AS_ERRORS "Treat warnings as errors; off for whoever only builds the project" OFF)
set(OMBREL_LIBDIR lib)  # below the prefix, in the build tree as well
if(OMBREL_DEBIAN)
  set(OMBREL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
set(OMBREL_SANITIZE "" CACHE STRING "Sanitizers to build with, as in -fsanitize=")
option(OMBREL_HARDEN "Build what makes a fault harder to use for an attack; not with sanitizers" ON)
set(OMBREL_ENGINE_ROOT ${PROJECT_SOURCE_DIR}/.deps/python/openvino CACHE PATH
    "Folder of the OpenVINO package")
set(OMBREL_DEMO_DATA ${PROJECT_SOURCE_DIR}/out/demo CACHE PATH "Folder of the demo data, for tests")

if(NOT CMAKE_BUILD_TYPE AND PROJECT_IS_TOP_LEVEL)
  set(CMAKE_BUILD_TYPE Release)
endif()

# Linked PRIVATE by our own targets only, so that no user of the package inherits it.
add_library(ombrel_flags INTERFACE)
target_compile_options(ombrel_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wold-style-cast -Wcast-qual
  $<$<BOOL:${OMBREL_WARNINGS_AS_ERRORS}>:-Werror>)
if(OMBREL_SANITIZE)
  add_compile_options(-fsanitize=${OMBREL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${OMBREL_SANITIZE})
endif()

if(OMBREL_HARDEN AND NOT OMBREL_SANITIZE)
  include(Hardening)
endif()

# Exports what the version script names and nothing else, and finds what is missing at link time already.
# Windows needs none of it: there the sources say what is exported, and nothing may be missing.
function(ombrel_export_only target script)
  if(WIN32)
    return()
  endif()
  target_link_options(${target} PRIVATE -Wl,--version-script=${script})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
  if(NOT OMBREL_SANITIZE)  # the sanitizers' runtime may be in the program only
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()
