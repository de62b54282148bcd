# The OpenVINO runtime of the wheel, and its files beside the backend. The engine layer links its C interface,
# openvino::runtime::c; what is compared with the engine called directly links openvino::runtime.
if(NOT IS_DIRECTORY ${OMBREL_ENGINE_ROOT}/libs)
  message(FATAL_ERROR "There is no engine at ${OMBREL_ENGINE_ROOT}; run scripts/bootstrap")
endif()
include(Pugixml)

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(OMBREL_CPU_PLUGIN openvino_arm_cpu_plugin)
else()
  set(OMBREL_CPU_PLUGIN openvino_intel_cpu_plugin)
endif()

# What the backend needs of it at run time: the runtime with its C interface, its reader of networks, its CPU device and the
# thread pool with what that loads to learn of the machine.
if(WIN32)
  set(OMBREL_ENGINE_FILES
    tbb12.dll
    tbbmalloc.dll
    tbbbind_2_5.dll
    openvino.dll
    openvino_c.dll
    openvino_ir_frontend.dll
    ${OMBREL_CPU_PLUGIN}.dll)
  # The wheel's package asks for the compiler that the runtime was built with; the C interface serves any.
  add_library(openvino::runtime::c SHARED IMPORTED)
  set_target_properties(openvino::runtime::c PROPERTIES
    IMPORTED_IMPLIB ${OMBREL_ENGINE_ROOT}/libs/openvino_c.lib
    IMPORTED_LOCATION ${OMBREL_ENGINE_ROOT}/libs/openvino_c.dll
    INTERFACE_INCLUDE_DIRECTORIES ${OMBREL_ENGINE_ROOT}/include)
else()
  find_package(OpenVINO REQUIRED CONFIG PATHS ${OMBREL_ENGINE_ROOT}/cmake NO_DEFAULT_PATH)
  file(GLOB runtime RELATIVE ${OMBREL_ENGINE_ROOT}/libs ${OMBREL_ENGINE_ROOT}/libs/libopenvino.so.*)
  string(REGEX REPLACE ".*[.]" "" release "${runtime}")  # as in libopenvino.so.2641
  set(OMBREL_ENGINE_FILES
    libtbb.so.12
    libtbbmalloc.so.2
    libhwloc.so.15
    libtbbbind_2_5.so.3
    libopenvino.so.${release}
    libopenvino_c.so.${release}
    libopenvino_ir_frontend.so.${release}
    lib${OMBREL_CPU_PLUGIN}.so)
endif()
list(TRANSFORM OMBREL_ENGINE_FILES PREPEND ${OMBREL_ENGINE_ROOT}/libs/ OUTPUT_VARIABLE OMBREL_ENGINE_PATHS)
foreach(path IN LISTS OMBREL_ENGINE_PATHS)
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "The engine at ${OMBREL_ENGINE_ROOT} has no ${path}; run scripts/bootstrap")
  endif()
  get_filename_component(name ${path} NAME)
  file(MAKE_DIRECTORY ${OMBREL_PLUGIN_OUTPUT_DIRECTORY})
  # Not a symbolic link: the package is proven to be all in its own folder.
  file(CREATE_LINK ${path} ${OMBREL_PLUGIN_OUTPUT_DIRECTORY}/${name} COPY_ON_ERROR)
endforeach()
