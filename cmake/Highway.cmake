# Highway, as ombrel_highway: the three of its sources that we use, linked statically. What is installed with a system is one
# library more to bring along, and spends milliseconds of each start on measuring a clock that nobody asks for.
set(OMBREL_HIGHWAY_SOURCE "" CACHE PATH "Sources of Highway; empty for those that scripts/bootstrap fetches")

set(source ${OMBREL_HIGHWAY_SOURCE})
if(NOT source)
  set(source ${PROJECT_SOURCE_DIR}/.deps/highway)
endif()
if(NOT EXISTS ${source}/hwy/targets.cc)
  message(FATAL_ERROR "${source} has no sources of Highway; run scripts/bootstrap")
endif()
add_library(ombrel_highway STATIC
  ${source}/hwy/aligned_allocator.cc
  ${source}/hwy/per_target.cc
  ${source}/hwy/targets.cc)
target_compile_definitions(ombrel_highway PUBLIC HWY_STATIC_DEFINE)
target_include_directories(ombrel_highway SYSTEM PUBLIC ${source})
target_compile_options(ombrel_highway PRIVATE -w)
