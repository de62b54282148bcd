# Runs the example with a capture loop on the demo's frames, and compares the class of each:
# cmake -DPROGRAM= -DBACKEND= -DDEMO= -P capture_test.cmake
# BACKEND is the folder of the backend. Without OpenCV there is no such program.
cmake_minimum_required(VERSION 3.25)
if(NOT EXISTS ${PROGRAM})
  message(STATUS "Skipped: without OpenCV ${PROGRAM} was not built; scripts/bootstrap --examples installs it")
  return()
endif()
execute_process(COMMAND ${PROGRAM} ${BACKEND} ${DEMO}/classifier ${DEMO}/frames/frame_%02d.png
                OUTPUT_VARIABLE output COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
message(STATUS "${output}")
# Egyptian cat, espresso, tripod: with the channels in the wrong order the espresso is at 0.63.
if(NOT output MATCHES "frame 0: class 285, [0-9.]+\nframe 1: class 967, 0.7[0-9]\nframe 2: class 872, [0-9.]+\n$")
  message(FATAL_ERROR "That is not what the frames show")
endif()
execute_process(COMMAND ${PROGRAM} ${BACKEND} ${DEMO}/classifier ${DEMO}/no_such_film RESULT_VARIABLE status
                ERROR_VARIABLE told OUTPUT_QUIET)
if(NOT status EQUAL 6 OR NOT told MATCHES "capture: cannot open [^\n]*no_such_film\n$")
  message(FATAL_ERROR "Without a film it ended with ${status} and said ${told}")
endif()
