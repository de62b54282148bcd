# Builds a project that takes Ombrel in as sources, and sees that it tests and installs only what is its own:
# cmake -DSOURCE= -DOMBREL= -DENGINE= -DWORK= -DCOMPILER= -DTOOLCHAIN= -P subproject_test.cmake
cmake_minimum_required(VERSION 3.25)
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G Ninja -DOMBREL_SOURCE=${OMBREL} -DOMBREL_ENGINE_ROOT=${ENGINE}
    -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
run(${CMAKE_COMMAND} --build ${WORK}/build --target host)
execute_process(COMMAND ${CMAKE_CTEST_COMMAND} --test-dir ${WORK}/build OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
if(NOT output MATCHES "0 tests failed out of 1")
  message(SEND_ERROR "Not one test, its own: ${output}")
endif()
run(${CMAKE_COMMAND} --install ${WORK}/build --prefix ${WORK}/installed)
file(GLOB_RECURSE files RELATIVE ${WORK}/installed ${WORK}/installed/*)
if(NOT files STREQUAL "bin/host")
  message(SEND_ERROR "Installed were ${files}")
endif()
