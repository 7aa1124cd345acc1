# SPDX-License-Identifier: Apache-2.0
# Debian packages by cpack, one for each component: see scripts/package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "The ztservices authors")
set(ZT_MAINTAINER "The ztservices authors <maintainers@ztservices.example>" CACHE STRING "Whom the packages name")
set(CPACK_PACKAGE_CONTACT ${ZT_MAINTAINER})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Runtime Development Tool Documentation)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The library is no package yet when the tool's dependencies are looked up.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})

# Named as the soname, so that two versions that programs cannot exchange can be installed side by side.
get_target_property(soversion ztservices SOVERSION)
set(runtime libztservices${soversion})
set(full_version ${PROJECT_VERSION}-1)

# zt_debian_package(component NAME package SECTION section TEXT description [DEPENDS relations] [ANY])
# ANY: it holds no program, and fits every architecture.
function(zt_debian_package component)
  cmake_parse_arguments(P "ANY" "NAME;SECTION;TEXT;DEPENDS" "" ${ARGN})
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${P_NAME} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${P_SECTION} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS ${P_DEPENDS} PARENT_SCOPE)
  set(CPACK_COMPONENT_${key}_DESCRIPTION ${P_TEXT} PARENT_SCOPE)
  if(P_ANY)
    set(CPACK_DEBIAN_${key}_PACKAGE_ARCHITECTURE all PARENT_SCOPE)
  endif()
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${P_NAME})
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian-copyright DESTINATION ${documents} RENAME copyright
    COMPONENT ${component})
  install(FILES ${PROJECT_BINARY_DIR}/changelog.gz ${PROJECT_BINARY_DIR}/changelog.Debian.gz DESTINATION ${documents}
    COMPONENT ${component})
endfunction()

execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz
  COMMAND_ERROR_IS_FATAL ANY)
# Debian's own changelog, in the form that its tools read.
execute_process(COMMAND date -u -R -d ${ZT_RELEASE_DATE} OUTPUT_VARIABLE day OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)
file(WRITE ${PROJECT_BINARY_DIR}/changelog.Debian "ztservices (${full_version}) unstable; urgency=medium

  * Version ${PROJECT_VERSION}; changelog.gz says what it changes.

 -- ${ZT_MAINTAINER}  ${day}
")
execute_process(COMMAND gzip -9nc ${PROJECT_BINARY_DIR}/changelog.Debian
  OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
# dpkg runs ldconfig once for all packages that are installed together.
file(WRITE ${PROJECT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/triggers)
zt_debian_package(Runtime NAME ${runtime} SECTION libs
  TEXT "package services over the Open Packaging Conventions (library)
 Stores directory trees in packages of the Open Packaging Conventions, with
 encryption, core properties and streaming transforms. This is the library.")
zt_debian_package(Development NAME libztservices-dev SECTION libdevel
  DEPENDS "${runtime} (= ${full_version}), libboost-dev"
  TEXT "package services over the Open Packaging Conventions (headers)
 Stores directory trees in packages of the Open Packaging Conventions. These
 are the headers, and what CMake and pkg-config find the library by.")
zt_debian_package(Tool NAME ztpkg SECTION utils DEPENDS "${runtime} (= ${full_version})"
  TEXT "packs, checks and edits packages of the Open Packaging Conventions
 Stores a directory tree in one package, a ZIP file of named parts, and brings
 it back; checks, repairs, compares and edits packages, encrypted ones too.")
zt_debian_package(Documentation NAME libztservices-doc SECTION doc ANY
  TEXT "package services over the Open Packaging Conventions (documentation)
 Describes the library libztservices, the tool ztpkg, and their formats.")
install(CODE [[
  file(GLOB pages $ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/share/man/man1/*.1)
  execute_process(COMMAND gzip -9nf ${pages} COMMAND_ERROR_IS_FATAL ANY)]] COMPONENT Tool)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")  # the soname names what programs cannot exchange
include(CPack)
