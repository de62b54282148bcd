# The constants that a product builds in: see build_constants.h.in.
set(OMBREL_DEVELOPMENT_IV "6f6d6272656c20646576656c6f706d65")
set(OMBREL_DEVELOPMENT_MASK "9c27e1504bd83af60571c2be8d946a1f")
set(OMBREL_MODEL_IV "${OMBREL_DEVELOPMENT_IV}" CACHE STRING
    "Initialisation vector of encrypted models, 32 hex digits")
set(OMBREL_KEY_MASK "${OMBREL_DEVELOPMENT_MASK}" CACHE STRING
    "Mask that the caller's key is combined with, 32 hex digits")
set(OMBREL_INFERENCE_PRECISION "" CACHE STRING
    "Precision that the engine computes in: empty for its own choice, or f32")
set_property(CACHE OMBREL_INFERENCE_PRECISION PROPERTY STRINGS "" f32)
option(OMBREL_REQUIRE_AUTHENTICATION "Refuse sealed models that have no file of tags beside them" OFF)

set(OMBREL_TRUSTED_KEY "" CACHE STRING
    "Ed25519 public key, 64 hex digits, by which every manifest has to be signed; empty: no signature is asked for")
set(OMBREL_LEAST_COUNTER 0 CACHE STRING "Least counter of a manifest that OMBREL_TRUSTED_KEY has signed")
set(OMBREL_SIGNING_KEY "" CACHE FILEPATH
    "Key file of \"ombrel keygen --signing\" with which the manifest that is built and installed is signed")

if(OMBREL_MODEL_IV STREQUAL OMBREL_DEVELOPMENT_IV OR OMBREL_KEY_MASK STREQUAL OMBREL_DEVELOPMENT_MASK)
  message(STATUS "Model IV or key mask: development default, known to everybody. "
                 "Set OMBREL_MODEL_IV and OMBREL_KEY_MASK for a product.")
endif()
if(NOT OMBREL_INFERENCE_PRECISION MATCHES "^(f32)?$")
  message(FATAL_ERROR "OMBREL_INFERENCE_PRECISION is empty or f32, not '${OMBREL_INFERENCE_PRECISION}'")
endif()

if(NOT OMBREL_LEAST_COUNTER MATCHES "^[0-9]+$")
  message(FATAL_ERROR "OMBREL_LEAST_COUNTER is a whole number, not '${OMBREL_LEAST_COUNTER}'")
endif()

# Turns so many hex digits into the text of an array's elements.
function(ombrel_hex_to_bytes variable wanted result)
  if(NOT ${variable} MATCHES "^[0-9a-fA-F]+$")
    message(FATAL_ERROR "${variable} has to be ${wanted} hex digits")
  endif()
  string(LENGTH "${${variable}}" digits)
  if(NOT digits EQUAL wanted)
    message(FATAL_ERROR "${variable} has to be ${wanted} hex digits, not ${digits}")
  endif()
  string(REGEX REPLACE "(..)" "0x\\1, " bytes "${${variable}}")
  string(REGEX REPLACE ", $" "" bytes "${bytes}")
  set(${result} "${bytes}" PARENT_SCOPE)
endfunction()

ombrel_hex_to_bytes(OMBREL_MODEL_IV 32 OMBREL_MODEL_IV_BYTES)
ombrel_hex_to_bytes(OMBREL_KEY_MASK 32 OMBREL_KEY_MASK_BYTES)
set(OMBREL_HAS_TRUSTED_KEY false)
set(OMBREL_TRUSTED_KEY_BYTES "")
if(OMBREL_TRUSTED_KEY)
  set(OMBREL_HAS_TRUSTED_KEY true)
  ombrel_hex_to_bytes(OMBREL_TRUSTED_KEY 64 OMBREL_TRUSTED_KEY_BYTES)
endif()
set(OMBREL_AUTHENTICATION_REQUIRED false)
if(OMBREL_REQUIRE_AUTHENTICATION)
  set(OMBREL_AUTHENTICATION_REQUIRED true)
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/build_constants.h.in
               ${PROJECT_BINARY_DIR}/generated/build_constants.h @ONLY)
add_library(ombrel_build_constants INTERFACE)
target_include_directories(ombrel_build_constants INTERFACE ${PROJECT_BINARY_DIR}/generated)
