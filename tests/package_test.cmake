# Installs the build, builds a host outside the tree from the package alone, and runs it:
# cmake -DBUILD= -DSOURCE= -DWORK= -DCOMPILER= -P package_test.cmake; with -DTOOLCHAIN= and -DEMULATOR= for another
# system, and for Windows with the archive in the place of the installation
cmake_minimum_required(VERSION 3.25)
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
if(TOOLCHAIN MATCHES "mingw")
  file(MAKE_DIRECTORY ${WORK})
  run(${CMAKE_CPACK_COMMAND} -G ZIP --config ${BUILD}/CPackConfig.cmake -B ${WORK})
  file(GLOB archive ${WORK}/*.zip)
  file(ARCHIVE_EXTRACT INPUT ${archive} DESTINATION ${WORK}/unpacked)
  file(GLOB folder ${WORK}/unpacked/*)
  file(RENAME ${folder} "${WORK}/moved away")
  # The toolchain looks for packages in its own folder only.
  set(options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} "-DOmbrel_DIR=${WORK}/moved away/lib/cmake/Ombrel")
else()
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
  # A package that still needs its build tree would find nothing after a move.
  file(RENAME ${WORK}/installed "${WORK}/moved away")
  set(options -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/host -G Ninja ${options} "-DCMAKE_PREFIX_PATH=${WORK}/moved away")
run(${CMAKE_COMMAND} --build ${WORK}/host)
if(TOOLCHAIN MATCHES "mingw")  # Windows looks for libraries beside the program
  file(COPY ${WORK}/host/host.exe DESTINATION "${WORK}/moved away/bin")
  run(${EMULATOR} "${WORK}/moved away/bin/host.exe" ${SOURCE}/doubling)
  if(EXISTS "${WORK}/moved away/bin/ombrel.exe")
    run(${EMULATOR} "${WORK}/moved away/bin/ombrel.exe" check)
  endif()
else()
  run(${EMULATOR} ${WORK}/host/host ${SOURCE}/doubling)
  run(${EMULATOR} "${WORK}/moved away/bin/ombrel" check)
endif()
