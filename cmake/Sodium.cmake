# libsodium from its sources, linked statically, as ombrel_sodium: for Windows, whose own cryptography has no
# Ed25519. Its instruction sets for other machines compile to nothing without its own configure step.
enable_language(C)
set(OMBREL_SODIUM_SOURCE "" CACHE PATH "Sources of libsodium")
set(root ${OMBREL_SODIUM_SOURCE}/src/libsodium)
if(NOT EXISTS ${root}/sodium/core.c)
  message(FATAL_ERROR "OMBREL_SODIUM_SOURCE, \"${OMBREL_SODIUM_SOURCE}\", has no sources of libsodium; "
                      "run scripts/bootstrap --windows")
endif()
file(GLOB_RECURSE sources ${root}/*.c)
add_library(ombrel_sodium STATIC EXCLUDE_FROM_ALL ${sources})
# What its configure step fills in, and nothing here looks at.
set(VERSION built-in)
set(SODIUM_LIBRARY_VERSION_MAJOR 0)
set(SODIUM_LIBRARY_VERSION_MINOR 0)
set(SODIUM_LIBRARY_MINIMAL_DEF "")
set(generated ${CMAKE_BINARY_DIR}/generated/sodium)
configure_file(${root}/include/sodium/version.h.in ${generated}/sodium/version.h @ONLY)
target_compile_definitions(ombrel_sodium PRIVATE CONFIGURED PUBLIC SODIUM_STATIC)
target_compile_options(ombrel_sodium PRIVATE -w)
target_include_directories(ombrel_sodium SYSTEM
  PUBLIC ${root}/include ${generated}
  PRIVATE ${root}/include/sodium ${generated}/sodium)
