# SPDX-License-Identifier: Apache-2.0
# What the library says of the product that it is built for; packages record it.
set(ZT_RELEASE_FAMILY R2026b CACHE STRING "Release family of the running product, such as R2026b")
set(ZT_RELEASE_VERSION ${PROJECT_VERSION} CACHE STRING "Version of the running product")
set(ZT_RELEASE_DESCRIPTION "ztservices ${PROJECT_VERSION}" CACHE STRING "What the running product calls itself")
set(ZT_RELEASE_DATE 2026-11-23 CACHE STRING "Day of the running product's release")

# Packages of a release that breaks these rules could be written, but not read back.
if(NOT ZT_RELEASE_FAMILY MATCHES "^R[0-9][0-9][0-9][0-9][ab]$")
  message(FATAL_ERROR "ZT_RELEASE_FAMILY must have the format R<four-digit-year>(a|b): ${ZT_RELEASE_FAMILY}")
endif()
if(ZT_RELEASE_VERSION STREQUAL "")
  message(FATAL_ERROR "ZT_RELEASE_VERSION must not be empty")
endif()

# zt_running_release(layer): the values become a source of the layer, as literals, whatever is in them.
function(zt_running_release layer)
  set(source ${PROJECT_BINARY_DIR}/RunningRelease.cpp)
  configure_file(${PROJECT_SOURCE_DIR}/src/release/RunningRelease.cpp.in ${source} @ONLY)
  target_sources(${layer} PRIVATE ${source})
endfunction()
