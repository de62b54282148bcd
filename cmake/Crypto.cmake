# libcrypto, as ombrel_crypto: the system's, which the system keeps up to date, or a copy inside, which meets no other in
# the process and is as old as this build.
option(OMBREL_STATIC_CRYPTO "Link libcrypto into the framework and the program, for machines that have none" OFF)

find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
add_library(ombrel_crypto INTERFACE)
if(NOT OMBREL_STATIC_CRYPTO)
  target_link_libraries(ombrel_crypto INTERFACE OpenSSL::Crypto)
  return()
endif()
find_library(OMBREL_CRYPTO_ARCHIVE libcrypto.a REQUIRED)
find_package(Threads REQUIRED)
target_include_directories(ombrel_crypto SYSTEM INTERFACE ${OPENSSL_INCLUDE_DIR})
target_link_libraries(ombrel_crypto INTERFACE ${OMBREL_CRYPTO_ARCHIVE} ${CMAKE_DL_LIBS} Threads::Threads)
target_link_options(ombrel_crypto INTERFACE -Wl,--exclude-libs,libcrypto.a)
