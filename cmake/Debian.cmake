# What is installed, as two packages of Debian: ombrel, which runs, and libombrel-dev, to build with. Included in the place
# where everything but the list of parts has been installed, so that this list is true for what follows, too.
set(OMBREL_DEBIAN_REVISION 1 CACHE STRING "Revision of the packages of Debian")
set(OMBREL_MAINTAINER "Ombrel maintainers <maintainers@ombrel.invalid>" CACHE STRING "Who answers for the packages of Debian")
find_program(OMBREL_GZIP gzip REQUIRED)
set(OMBREL_DEBIAN_VERSION ${PROJECT_VERSION}-${OMBREL_DEBIAN_REVISION})
set(prepared ${PROJECT_BINARY_DIR}/debian)
string(TIMESTAMP OMBREL_DEBIAN_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)  # of SOURCE_DATE_EPOCH where that is set

# What the package's control data says, besides what CPack makes of the variables below. Only the framework is for others to
# link; what lies in the folder of plug-ins is the package's own.
file(WRITE ${prepared}/shlibs "libombrel ${PROJECT_VERSION_MAJOR} ombrel (>= ${PROJECT_VERSION})\n")
file(WRITE ${prepared}/triggers "activate-noawait ldconfig\n")
foreach(name IN ITEMS changelog lintian-overrides lintian-overrides-dev)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/${name}.in ${prepared}/${name} @ONLY)
endforeach()
install(FILES ${prepared}/lintian-overrides DESTINATION share/lintian/overrides RENAME ombrel)
install(FILES ${prepared}/lintian-overrides-dev DESTINATION share/lintian/overrides RENAME libombrel-dev
        COMPONENT Development)
install(FILES ${prepared}/changelog DESTINATION ${OMBREL_INSTALL_DOCDIR} RENAME changelog.Debian)
install(FILES CHANGELOG.md DESTINATION ${OMBREL_INSTALL_DOCDIR} RENAME changelog)
install(CODE "set(OMBREL_GZIP ${OMBREL_GZIP})
  set(OMBREL_PARTS [==[${OMBREL_PARTS}]==])
  set(OMBREL_DOCDIR ${OMBREL_INSTALL_DOCDIR})
  set(OMBREL_COMPRESSED ${OMBREL_INSTALL_DOCDIR}/changelog ${OMBREL_INSTALL_DOCDIR}/changelog.Debian
      ${CMAKE_INSTALL_MANDIR}/man1/ombrel.1)")
install(SCRIPT ${CMAKE_CURRENT_LIST_DIR}/debian/FinishRuntime.cmake)
install(CODE "file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/share/doc\")
  file(CREATE_LINK ombrel \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/share/doc/libombrel-dev\" SYMBOLIC)" COMPONENT Development)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Runtime Development)
set(CPACK_STRIP_FILES ON)  # by the installation, before the manifest is made
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${OMBREL_DEBIAN_REVISION})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${OMBREL_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY} ${OMBREL_PLUGIN_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ombrel)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION science)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${prepared}/shlibs ${prepared}/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"The framework library, the backend with the OpenVINO runtime that it runs
networks with on the CPU, and the program ombrel, which seals models, proves
files by their digests, and runs images through a network.
.
Networks stay closed: a model is decrypted in memory only, and the libraries
that work on it are those that were shipped.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libombrel-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "ombrel (= ${OMBREL_DEBIAN_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"What a program is built with that loads a backend of Ombrel, or a backend of
its own: the headers, a package for CMake and one for pkg-config.
.
The framework library, the backend and the program are in the package ombrel.")
