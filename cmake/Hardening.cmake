# A smashed stack, a copy that is too long and a jump to where no function begins end the process; what the
# loader resolves is resolved at the start and read-only from then on.
if(WIN32)  # its compiler would make every program need one more library for it
  return()
endif()
include(CheckCXXCompilerFlag)

add_compile_options(-fstack-protector-strong)
# It has nothing to check where nothing is optimised; whatever the compiler sets by itself goes first.
string(TOUPPER "${CMAKE_BUILD_TYPE}" build_type)
if("${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${build_type}}" MATCHES "-O([123s]|fast)")
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
endif()

# What the compiler knows, and the system that we build for has.
function(ombrel_harden_by flag)
  string(MAKE_C_IDENTIFIER "OMBREL_HAS${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    add_compile_options(${flag})
  endif()
endfunction()
ombrel_harden_by(-fstack-clash-protection)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  ombrel_harden_by(-fcf-protection=full)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  ombrel_harden_by(-mbranch-protection=standard)
endif()
add_link_options(-Wl,-z,now -Wl,-z,relro -Wl,-z,noexecstack)
