# nlohmann-json, as ombrel_json.
include(ForeignHeaders)
if(NOT CMAKE_CROSSCOMPILING)
  add_library(ombrel_json INTERFACE)
  find_package(nlohmann_json 3.11 REQUIRED)
  target_link_libraries(ombrel_json INTERFACE nlohmann_json::nlohmann_json)
  return()
endif()
ombrel_link_headers(ombrel_json nlohmann-json3-dev nlohmann json.hpp)
