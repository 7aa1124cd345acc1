# SPDX-License-Identifier: Apache-2.0
# The libraries underneath. Only Boost shows in the public headers.
# CONFIG: CMake 3.30 deprecates its own search for Boost (policy CMP0167) in favour of the package that Boost brings.
find_package(Boost 1.74 CONFIG REQUIRED COMPONENTS regex)
find_package(XercesC 3.2 REQUIRED)
find_package(ZLIB REQUIRED)
find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
find_package(ICU 70 REQUIRED COMPONENTS i18n uc)

# Debian's libdeflate brings no CMake package.
if(NOT TARGET libdeflate::libdeflate)
  find_path(LIBDEFLATE_INCLUDE_DIR libdeflate.h REQUIRED)
  find_library(LIBDEFLATE_LIBRARY deflate REQUIRED)
  add_library(libdeflate::libdeflate UNKNOWN IMPORTED)
  set_target_properties(libdeflate::libdeflate PROPERTIES
    IMPORTED_LOCATION ${LIBDEFLATE_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES ${LIBDEFLATE_INCLUDE_DIR})
endif()
