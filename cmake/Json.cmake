# nlohmann-json, as ombrel_json: headers only. For another system they come from a folder where this system's
# other headers are not.
add_library(ombrel_json INTERFACE)
if(NOT CMAKE_CROSSCOMPILING)
  find_package(nlohmann_json 3.11 REQUIRED)
  target_link_libraries(ombrel_json INTERFACE nlohmann_json::nlohmann_json)
  return()
endif()
find_path(OMBREL_JSON_INCLUDE_DIR nlohmann/json.hpp REQUIRED
          PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH DOC "Folder above nlohmann/ (nlohmann-json3-dev)")
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/generated/json)
file(CREATE_LINK ${OMBREL_JSON_INCLUDE_DIR}/nlohmann ${CMAKE_BINARY_DIR}/generated/json/nlohmann SYMBOLIC)
target_include_directories(ombrel_json SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/generated/json)
