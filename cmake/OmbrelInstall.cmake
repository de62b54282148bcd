# What `cmake --install` gives, as two components. Runtime is what a product runs with: both libraries, the host program, the
# engine's files that the backend needs with the list and the manifest beside it, and the notices. Development is what hosts and
# backends are built with next to it: the headers, a CMake package and the same for pkg-config.
include(CMakePackageConfigHelpers)

set(OMBREL_INSTALL_CMAKEDIR ${OMBREL_LIBDIR}/cmake/Ombrel)
set(OMBREL_INSTALL_PKGCONFIGDIR ${OMBREL_LIBDIR}/pkgconfig)
set(OMBREL_INSTALL_PLUGINDIR ${OMBREL_LIBDIR}/ombrel)
set(OMBREL_BACKEND_FILE ${CMAKE_SHARED_MODULE_PREFIX}ombrel_openvino${CMAKE_SHARED_MODULE_SUFFIX})

install(TARGETS ombrel EXPORT OmbrelTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${OMBREL_LIBDIR} NAMELINK_COMPONENT Development
        ARCHIVE DESTINATION ${OMBREL_LIBDIR} COMPONENT Development)
install(DIRECTORY include/ombrel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development FILES_MATCHING PATTERN "*.h")

if(OMBREL_BUILD_BACKEND)
  install(TARGETS ombrel_openvino LIBRARY DESTINATION ${OMBREL_INSTALL_PLUGINDIR})
  install(FILES ${OMBREL_ENGINE_PATHS} DESTINATION ${OMBREL_INSTALL_PLUGINDIR})
  install(FILES data/plugins.xml DESTINATION ${OMBREL_INSTALL_PLUGINDIR})
endif()
if(TARGET ombrel_tool)
  install(TARGETS ombrel_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  set(framework ${OMBREL_LIBDIR}/$<TARGET_SONAME_FILE_NAME:ombrel>)
  if(WIN32)
    set(framework ${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:ombrel>)
  endif()
  set(OMBREL_SIGN "")
  if(OMBREL_SIGNING_KEY)
    set(OMBREL_SIGN "--counter ${OMBREL_LEAST_COUNTER} --sign \"${OMBREL_SIGNING_KEY}\"")
  endif()
  # Made again from the installed files, whose run paths differ from those of the build tree.
  install(CODE "
    set(folder \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${OMBREL_INSTALL_PLUGINDIR}\")
    file(REMOVE \"\${folder}/openvino.json\")
    set(libraries ${OMBREL_BACKEND_FILE};${OMBREL_ENGINE_FILES})
    list(TRANSFORM libraries PREPEND \"\${folder}/\")
    execute_process(COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR}
                            \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:ombrel_tool>\"
                            digest \${libraries} --manifest \"\${folder}/openvino.json\"
                            --outside \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${framework}\"
                            --file \"\${folder}/plugins.xml\" --closed ${OMBREL_SIGN}
                    COMMAND_ERROR_IS_FATAL ANY)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${CMAKE_INSTALL_PREFIX}/${OMBREL_INSTALL_PLUGINDIR}/openvino.json\")
    foreach(name IN ITEMS openvino.json.sig)
      if(EXISTS \"\${folder}/\${name}\")
        list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${CMAKE_INSTALL_PREFIX}/${OMBREL_INSTALL_PLUGINDIR}/\${name}\")
      endif()
    endforeach()")
endif()

install(EXPORT OmbrelTargets NAMESPACE Ombrel:: DESTINATION ${OMBREL_INSTALL_CMAKEDIR} COMPONENT Development)
configure_package_config_file(cmake/OmbrelConfig.cmake.in ${PROJECT_BINARY_DIR}/OmbrelConfig.cmake
  INSTALL_DESTINATION ${OMBREL_INSTALL_CMAKEDIR}
  PATH_VARS OMBREL_INSTALL_PLUGINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OmbrelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OmbrelConfig.cmake ${PROJECT_BINARY_DIR}/OmbrelConfigVersion.cmake
        DESTINATION ${OMBREL_INSTALL_CMAKEDIR} COMPONENT Development)
file(RELATIVE_PATH OMBREL_PREFIX_OF_PKGCONFIG /prefix/${OMBREL_INSTALL_PKGCONFIGDIR} /prefix)
string(REGEX REPLACE "/$" "" OMBREL_PREFIX_OF_PKGCONFIG "${OMBREL_PREFIX_OF_PKGCONFIG}")
set(OMBREL_BACKEND_OF_PKGCONFIG "")
if(OMBREL_BUILD_BACKEND)
  set(OMBREL_BACKEND_OF_PKGCONFIG "\${plugindir}/${OMBREL_BACKEND_FILE}")
endif()
configure_file(cmake/ombrel.pc.in ${PROJECT_BINARY_DIR}/ombrel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ombrel.pc DESTINATION ${OMBREL_INSTALL_PKGCONFIGDIR} COMPONENT Development)

# Last, since it lists whatever was installed: a list for each component that is installed apart, as they may be packages of
# their own, or one for all.
include(Parts)
if(OMBREL_DEBIAN)
  include(Debian)
endif()
install(CODE "set(OMBREL_PARTS [==[${OMBREL_PARTS}]==])
  set(OMBREL_VERSION ${PROJECT_VERSION})
  set(OMBREL_PARTS_FOLDER ${OMBREL_INSTALL_DOCDIR})" ALL_COMPONENTS)
install(SCRIPT ${CMAKE_CURRENT_LIST_DIR}/WritePartsList.cmake ALL_COMPONENTS)

# The same as one archive, by cpack: unpacked anywhere it works, as what is installed does after a move.
if(WIN32)
  set(CPACK_GENERATOR ZIP)
endif()
include(CPack)
