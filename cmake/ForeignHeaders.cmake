# Libraries of headers only, from this system's packages, for another system, too: they come from a folder where
# this system's other headers are not.

# ombrel_link_headers(TARGET PACKAGE FOLDER HEADER): an interface target for <FOLDER/HEADER>
function(ombrel_link_headers target package folder header)
  add_library(${target} INTERFACE)
  find_path(OMBREL_${folder}_INCLUDE_DIR ${folder}/${header} REQUIRED
            PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH DOC "Folder above ${folder}/ (${package})")
  set(apart ${PROJECT_BINARY_DIR}/generated/headers/${folder})
  file(MAKE_DIRECTORY ${apart})
  file(CREATE_LINK ${OMBREL_${folder}_INCLUDE_DIR}/${folder} ${apart}/${folder} SYMBOLIC)
  target_include_directories(${target} SYSTEM INTERFACE ${apart})
endfunction()
