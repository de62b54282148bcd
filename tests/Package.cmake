# What is installed, looked at and used from outside: also for a build without the other tests.
set(OMBREL_GLIBC_BOUND "" CACHE STRING "Newest version of glibc that the package may need, as in 2.28; empty for any")
set(OMBREL_GLIBCXX_BOUND "" CACHE STRING "Newest symbol version of libstdc++ that the package may need, as in 3.4.22")
set(work ${PROJECT_BINARY_DIR}/tests/package)

# It leaves the installation in ${work}/moved away.
add_test(NAME Package.ServesAHostOutsideTheTree COMMAND ${CMAKE_COMMAND} -DBUILD=${PROJECT_BINARY_DIR}
  -DEXAMPLES=${PROJECT_SOURCE_DIR}/examples -DMODEL=${CMAKE_CURRENT_LIST_DIR}/package/doubling -DWORK=${work}
  -DCOMPILER=${CMAKE_CXX_COMPILER}
  -DCMAKE_CPACK_COMMAND=${CMAKE_CPACK_COMMAND} -DTOOLCHAIN=${CMAKE_TOOLCHAIN_FILE}
  "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}" -P ${CMAKE_CURRENT_LIST_DIR}/package_test.cmake)
set_tests_properties(Package.ServesAHostOutsideTheTree PROPERTIES FIXTURES_SETUP installation)

add_test(NAME Package.ListsEveryFileAndItsParts COMMAND ${CMAKE_COMMAND} "-DPACKAGE=${work}/moved away"
   -P ${CMAKE_CURRENT_LIST_DIR}/parts_test.cmake)
set_tests_properties(Package.ListsEveryFileAndItsParts PROPERTIES FIXTURES_REQUIRED installation)

if(NOT WIN32)
  add_test(NAME Package.NeedsNoMoreThanItSays COMMAND ${CMAKE_COMMAND} "-DPACKAGE=${work}/moved away"
    -DREADELF=${CMAKE_READELF} -DGLIBC=${OMBREL_GLIBC_BOUND} -DGLIBCXX=${OMBREL_GLIBCXX_BOUND}
    -DSTATIC_CRYPTO=${OMBREL_STATIC_CRYPTO} -P ${CMAKE_CURRENT_LIST_DIR}/needs_test.cmake)
  set_tests_properties(Package.NeedsNoMoreThanItSays PROPERTIES FIXTURES_REQUIRED installation)
endif()

if(NOT CMAKE_CROSSCOMPILING AND NOT CMAKE_TOOLCHAIN_FILE)  # the host is built by the compiler as it is
  add_test(NAME Package.ServesACaptureLoop COMMAND ${CMAKE_COMMAND} -DPROGRAM=${work}/host/capture
    "-DBACKEND=${work}/moved away/lib/ombrel" -DDEMO=${OMBREL_DEMO_DATA} -P ${CMAKE_CURRENT_LIST_DIR}/capture_test.cmake)
  set_tests_properties(Package.ServesACaptureLoop PROPERTIES FIXTURES_REQUIRED installation
    SKIP_REGULAR_EXPRESSION "Skipped: ")
  find_program(OMBREL_PKG_CONFIG NAMES pkgconf pkg-config)
  add_test(NAME Package.ComesInTwoComponents COMMAND ${CMAKE_COMMAND} -DBUILD=${PROJECT_BINARY_DIR}
    "-DPACKAGE=${work}/moved away" -DHOST=${CMAKE_CURRENT_LIST_DIR}/subproject/main.cpp
    -DWORK=${PROJECT_BINARY_DIR}/tests/components -DCOMPILER=${CMAKE_CXX_COMPILER} -DPKG_CONFIG=${OMBREL_PKG_CONFIG}
    -P ${CMAKE_CURRENT_LIST_DIR}/components_test.cmake)
  set_tests_properties(Package.ComesInTwoComponents PROPERTIES FIXTURES_REQUIRED installation)
endif()

if(NOT CMAKE_CROSSCOMPILING AND OMBREL_BUILD_TESTS)
  add_test(NAME Package.IsPartOfAnotherProject COMMAND ${CMAKE_COMMAND} -DSOURCE=${CMAKE_CURRENT_LIST_DIR}/subproject
    -DOMBREL=${PROJECT_SOURCE_DIR} -DENGINE=${OMBREL_ENGINE_ROOT} -DWORK=${PROJECT_BINARY_DIR}/tests/subproject
    -DCOMPILER=${CMAKE_CXX_COMPILER} -DTOOLCHAIN=${CMAKE_TOOLCHAIN_FILE}
    -DCMAKE_CTEST_COMMAND=${CMAKE_CTEST_COMMAND} -P ${CMAKE_CURRENT_LIST_DIR}/subproject_test.cmake)
  # It compiles the framework, which takes minutes on a loaded machine without a cache of compilations.
  set_tests_properties(Package.IsPartOfAnotherProject PROPERTIES TIMEOUT 1800)
endif()
if(NOT OMBREL_BUILD_TESTS)  # which have it anyway: here it shows that what is linked in stays inside
  include(${CMAKE_CURRENT_LIST_DIR}/Exports.cmake)
endif()
