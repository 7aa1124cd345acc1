# SPDX-License-Identifier: Apache-2.0
# What the library says of the product that it is built for; packages record it.
set(ZT_RELEASE_FAMILY R2026b CACHE STRING "Release family of the running product, such as R2026b")
set(ZT_RELEASE_VERSION ${PROJECT_VERSION} CACHE STRING "Version of the running product")
set(ZT_RELEASE_DESCRIPTION "ztservices ${PROJECT_VERSION}" CACHE STRING "What the running product calls itself")
set(ZT_RELEASE_DATE 2026-11-21 CACHE STRING "Day of the running product's release")

# Packages of a release that breaks these rules could be written, but not read back.
if(NOT ZT_RELEASE_FAMILY MATCHES "^R[0-9][0-9][0-9][0-9][ab]$")
  message(FATAL_ERROR "ZT_RELEASE_FAMILY must have the format R<four-digit-year>(a|b): ${ZT_RELEASE_FAMILY}")
endif()
if(ZT_RELEASE_VERSION STREQUAL "")
  message(FATAL_ERROR "ZT_RELEASE_VERSION must not be empty")
endif()

# zt_release_values(layer): the layer's sources see the values as literals.
function(zt_release_values layer)
  foreach(name FAMILY VERSION DESCRIPTION DATE)
    target_compile_definitions(${layer} PRIVATE "ZT_RELEASE_${name}=\"${ZT_RELEASE_${name}}\"")
  endforeach()
endfunction()
