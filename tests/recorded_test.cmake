# Runs the real networks, clear and sealed, and compares with the outputs that were recorded in f32 on Linux:
# cmake -DPROGRAM= -DDEMO= -DWORK= -P recorded_test.cmake
cmake_minimum_required(VERSION 3.25)
function(run)
  execute_process(COMMAND ${PROGRAM} ${ARGN} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(compare network model size folder)  # and photos
  list(TRANSFORM ARGN REPLACE "(.+)" "${folder}/\\1.expected.raw" OUTPUT_VARIABLE recorded)
  list(TRANSFORM ARGN REPLACE "(.+)" "${folder}/\\1.ppm" OUTPUT_VARIABLE photos)
  execute_process(COMMAND ${CMAKE_COMMAND} -E cat ${recorded} OUTPUT_FILE ${WORK}/expected
                  COMMAND_ERROR_IS_FATAL ANY)
  run(seal ${model} ${WORK}/sealed-é-${network} --key-file ${WORK}/key)
  foreach(form IN ITEMS u8-hwc input-buffer)
    set(options --size ${size} --as ${form} --raw ${WORK}/output)
    foreach(base IN ITEMS "${model}" "${WORK}/sealed-é-${network};--key-file;${WORK}/key")
      run(run ${base} ${photos} ${options})
      execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${WORK}/output ${WORK}/expected
                      COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
  endforeach()
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
run(keygen --model ${WORK}/key)
compare(classifier ${DEMO}/classifier 320x224 ${DEMO} chelsea coffee camera)
compare(face ${DEMO}/face/face 384x288 ${DEMO}/face astronaut coffee)
