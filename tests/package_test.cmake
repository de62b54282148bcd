# Installs the build, builds the examples outside the tree from the package alone, and runs the host:
# cmake -DBUILD= -DEXAMPLES= -DMODEL= -DWORK= -DCOMPILER= -P package_test.cmake; with -DTOOLCHAIN= and -DEMULATOR= for
# another system, and for Windows with the archive in the place of the installation
cmake_minimum_required(VERSION 3.25)
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
set(package "${WORK}/moved away")
set(suffix "")
if(TOOLCHAIN MATCHES "mingw")
  file(MAKE_DIRECTORY ${WORK})
  run(${CMAKE_CPACK_COMMAND} -G ZIP --config ${BUILD}/CPackConfig.cmake -B ${WORK})
  file(GLOB archive ${WORK}/*.zip)
  file(ARCHIVE_EXTRACT INPUT ${archive} DESTINATION ${WORK}/unpacked)
  file(GLOB folder ${WORK}/unpacked/*)
  file(RENAME ${folder} ${package})
  # The toolchain looks for packages in its own folder only.
  set(options "-DOmbrel_DIR=${package}/lib/cmake/Ombrel")
  set(suffix .exe)
else()
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
  # A package that still needs its build tree would find nothing after a move.
  file(RENAME ${WORK}/installed ${package})
  set(options -DCMAKE_CXX_COMPILER=${COMPILER})
endif()
run(${CMAKE_COMMAND} -S ${EXAMPLES} -B ${WORK}/host -G Ninja ${options} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}
    "-DCMAKE_PREFIX_PATH=${package}")
run(${CMAKE_COMMAND} --build ${WORK}/host)

set(host ${WORK}/host/host)
if(TOOLCHAIN MATCHES "mingw")  # Windows looks for libraries beside the program
  set(host ${WORK}/beside/host.exe)
  file(COPY ${WORK}/host/host.exe ${package}/bin/libombrel.dll DESTINATION ${WORK}/beside)
endif()
execute_process(COMMAND ${EMULATOR} ${host} ${package}/lib/ombrel ${MODEL}
                OUTPUT_VARIABLE output COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
if(NOT output MATCHES "2\r?\n4\r?\n6\r?\n$")
  message(FATAL_ERROR "The host printed ${output}")
endif()
execute_process(COMMAND ${EMULATOR} ${host} RESULT_VARIABLE status ERROR_VARIABLE output)
if(NOT status EQUAL 64 OR NOT output MATCHES "Usage: host FOLDER MODEL")
  message(FATAL_ERROR "Without an argument the host ended with ${status} and said ${output}")
endif()
if(EXISTS ${package}/bin/ombrel${suffix})
  run(${EMULATOR} ${package}/bin/ombrel${suffix} check)
endif()
