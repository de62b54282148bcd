# pugixml, linked statically: the bundle needs no library more, and the engine's own copy of it is not met.
find_path(OMBREL_PUGIXML_INCLUDE_DIR pugixml.hpp REQUIRED)
find_library(OMBREL_PUGIXML_LIBRARY ${CMAKE_STATIC_LIBRARY_PREFIX}pugixml${CMAKE_STATIC_LIBRARY_SUFFIX} REQUIRED)
add_library(ombrel_pugixml STATIC IMPORTED)
set_target_properties(ombrel_pugixml PROPERTIES
  IMPORTED_LOCATION ${OMBREL_PUGIXML_LIBRARY}
  INTERFACE_INCLUDE_DIRECTORIES ${OMBREL_PUGIXML_INCLUDE_DIR})
