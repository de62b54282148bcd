# What the libraries export.
if(WIN32 AND OMBREL_BUILD_BACKEND)
  add_test(NAME Exports.OfTheBackendAreItsTwoEntries COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${CMAKE_OBJDUMP}
    -DLIBRARY=$<TARGET_FILE:ombrel_openvino> "-DPATTERN=^(Create|Initialize)$"
    -DNEEDED=Create,Initialize -P ${CMAKE_CURRENT_LIST_DIR}/check_exports.cmake)
endif()
if(NOT WIN32)
  set(sanitizer_symbols "")
  if(OMBREL_SANITIZE)  # an instrumented library exports its sanitizer's symbols as well
    set(sanitizer_symbols "|^_?_(a|t|ub)san|^__odr_asan")
  endif()
  add_test(NAME Exports.OfTheFrameworkAreItsPublicNames COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DLIBRARY=$<TARGET_FILE:ombrel>
    "-DPATTERN=^_Z(N|NK|TVN|TIN|TSN)3OMB|^_ZNKSt14default_deleteIN3OMB12IHashCheckerEE${sanitizer_symbols}"
    -P ${CMAKE_CURRENT_LIST_DIR}/check_exports.cmake)
  if(OMBREL_BUILD_BACKEND)
    add_test(NAME Exports.OfTheBackendAreItsTwoEntries COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM}
      -DLIBRARY=$<TARGET_FILE:ombrel_openvino> "-DPATTERN=^(Create|Initialize)$${sanitizer_symbols}"
      -DNEEDED=Create,Initialize -P ${CMAKE_CURRENT_LIST_DIR}/check_exports.cmake)
  endif()
endif()
