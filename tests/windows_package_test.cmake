# Runs a program of the framework with nothing beside it but what is installed.
file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}
                OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
get_filename_component(name ${PROGRAM} NAME)
file(COPY ${PROGRAM} DESTINATION ${WORK}/${BIN})
execute_process(COMMAND ${EMULATOR} ${WORK}/${BIN}/${name} --gtest_filter=Dependency.*:PluginManager.*
                WORKING_DIRECTORY ${WORK} OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT output MATCHES "PASSED  . 2 tests")
  message(FATAL_ERROR "Ended with ${result}\n${output}")
endif()
