# Installs the build, builds a host outside the tree from the package alone, and runs it:
# cmake -DBUILD= -DSOURCE= -DWORK= -DCOMPILER= -DTOOLCHAIN= -DEMULATOR= -P package_test.cmake; the last two may be empty
cmake_minimum_required(VERSION 3.25)
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
# A package that still needs its build tree would find nothing after a move.
file(RENAME ${WORK}/installed ${WORK}/moved)
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/host -G Ninja -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DCMAKE_PREFIX_PATH=${WORK}/moved)
run(${CMAKE_COMMAND} --build ${WORK}/host)
run(${EMULATOR} ${WORK}/host/host ${SOURCE}/doubling)
run(${EMULATOR} ${WORK}/moved/bin/ombrel check)
