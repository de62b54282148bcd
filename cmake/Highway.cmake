# Highway, as hwy::hwy: the installed package, or built from its sources where there is no package for the
# system that we build for.
set(OMBREL_HIGHWAY_SOURCE "" CACHE PATH "Sources of Highway to build it from; empty for the installed package")

if(NOT OMBREL_HIGHWAY_SOURCE)
  find_package(HWY CONFIG REQUIRED GLOBAL)
  return()
endif()
if(NOT EXISTS ${OMBREL_HIGHWAY_SOURCE}/hwy/targets.cc)
  message(FATAL_ERROR "${OMBREL_HIGHWAY_SOURCE} has no sources of Highway; run scripts/bootstrap --windows")
endif()
# Shared as the package's, since the instruction set that is chosen is one setting of the process.
add_library(hwy SHARED
  ${OMBREL_HIGHWAY_SOURCE}/hwy/aligned_allocator.cc
  ${OMBREL_HIGHWAY_SOURCE}/hwy/per_target.cc
  ${OMBREL_HIGHWAY_SOURCE}/hwy/targets.cc)
add_library(hwy::hwy ALIAS hwy)
target_compile_definitions(hwy PUBLIC HWY_SHARED_DEFINE)
target_include_directories(hwy SYSTEM PUBLIC ${OMBREL_HIGHWAY_SOURCE})
target_compile_options(hwy PRIVATE -w)
