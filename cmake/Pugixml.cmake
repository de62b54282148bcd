# pugixml, linked statically: the bundle needs no library more, and the engine's own copy of it is not met. It is the
# installed package's, or built from its sources where there is no package for the system that we build for.
set(OMBREL_PUGIXML_SOURCE "" CACHE PATH "Sources of pugixml to build it from; empty for the installed package")

if(OMBREL_PUGIXML_SOURCE)
  if(NOT EXISTS ${OMBREL_PUGIXML_SOURCE}/src/pugixml.cpp)
    message(FATAL_ERROR "${OMBREL_PUGIXML_SOURCE} has no sources of pugixml; run scripts/bootstrap --windows")
  endif()
  add_library(ombrel_pugixml STATIC ${OMBREL_PUGIXML_SOURCE}/src/pugixml.cpp)
  target_include_directories(ombrel_pugixml SYSTEM PUBLIC ${OMBREL_PUGIXML_SOURCE}/src)
  target_compile_options(ombrel_pugixml PRIVATE -w)
  return()
endif()
find_path(OMBREL_PUGIXML_INCLUDE_DIR pugixml.hpp REQUIRED)
find_library(OMBREL_PUGIXML_LIBRARY ${CMAKE_STATIC_LIBRARY_PREFIX}pugixml${CMAKE_STATIC_LIBRARY_SUFFIX} REQUIRED)
add_library(ombrel_pugixml STATIC IMPORTED)
set_target_properties(ombrel_pugixml PROPERTIES
  IMPORTED_LOCATION ${OMBREL_PUGIXML_LIBRARY}
  INTERFACE_INCLUDE_DIRECTORIES ${OMBREL_PUGIXML_INCLUDE_DIR})
