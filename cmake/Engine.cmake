# The OpenVINO runtime of the wheel, and its files beside the backend. The engine layer links its C interface,
# openvino::runtime::c; what is compared with the engine called directly links openvino::runtime.
find_package(OpenVINO REQUIRED CONFIG PATHS ${OMBREL_ENGINE_ROOT}/cmake NO_DEFAULT_PATH)
include(Pugixml)

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(OMBREL_CPU_PLUGIN openvino_arm_cpu_plugin)
else()
  set(OMBREL_CPU_PLUGIN openvino_intel_cpu_plugin)
endif()

# What the backend needs of it at run time: the runtime with its C interface, its reader of networks, its CPU device and the
# thread pool with what that loads to learn of the machine.
set(OMBREL_ENGINE_FILES
  libtbb.so.12
  libtbbmalloc.so.2
  libhwloc.so.15
  libtbbbind_2_5.so.3
  libopenvino.so.2641
  libopenvino_c.so.2641
  libopenvino_ir_frontend.so.2641
  lib${OMBREL_CPU_PLUGIN}.so)
list(TRANSFORM OMBREL_ENGINE_FILES PREPEND ${OMBREL_ENGINE_ROOT}/libs/ OUTPUT_VARIABLE OMBREL_ENGINE_PATHS)
foreach(path IN LISTS OMBREL_ENGINE_PATHS)
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "The engine at ${OMBREL_ENGINE_ROOT} has no ${path}; run scripts/bootstrap")
  endif()
  get_filename_component(name ${path} NAME)
  file(MAKE_DIRECTORY ${OMBREL_PLUGIN_OUTPUT_DIRECTORY})
  file(CREATE_LINK ${path} ${OMBREL_PLUGIN_OUTPUT_DIRECTORY}/${name} SYMBOLIC)
endforeach()
