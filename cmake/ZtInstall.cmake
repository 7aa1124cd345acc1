# SPDX-License-Identifier: Apache-2.0
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# zt_install(name): the library, its headers, and what CMake and pkg-config find it by. The headers have a folder of their
# own below include/, since opc/ and foundation/ are names that others may use.
function(zt_install name)
  set(package ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
  set(headers ${CMAKE_INSTALL_INCLUDEDIR}/${name})
  install(TARGETS ${name} EXPORT ${name}Targets
    LIBRARY COMPONENT Runtime NAMELINK_COMPONENT Development
    ARCHIVE COMPONENT Development
    FILE_SET HEADERS DESTINATION ${headers} COMPONENT Development)
  install(EXPORT ${name}Targets NAMESPACE ${name}:: DESTINATION ${package} COMPONENT Development)

  # Where the tool that is built looks for it, too.
  set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})

  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ztservicesConfig.cmake.in ztservicesConfig.cmake
    INSTALL_DESTINATION ${package})
  write_basic_package_version_file(ztservicesConfigVersion.cmake COMPATIBILITY SameMinorVersion)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ztservicesConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/ztservicesConfigVersion.cmake ${PROJECT_SOURCE_DIR}/cmake/ZtDependencies.cmake
    DESTINATION ${package} COMPONENT Development)

  # The file says where it is by where it stands, so that an installed tree can be moved.
  file(RELATIVE_PATH prefix /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root/)
  # Who links the static library links what it uses, too. The shared one hides that: its users need no headers of it, and
  # pkg-config would ask for them at "Requires.private" even for --cflags.
  set(requires "Requires: xerces-c >= 3.2, zlib, libdeflate, libcrypto >= 3, icu-i18n >= 70, icu-uc >= 70\n")
  set(libs "Libs: -L\${libdir} -l${name} -lboost_regex -lstdc++ -lm -pthread")
  if(BUILD_SHARED_LIBS)
    set(requires)
    set(libs "Libs: -L\${libdir} -l${name}")
  endif()
  list(TRANSFORM zt_sizes PREPEND " -D" OUTPUT_VARIABLE sizes)
  list(JOIN sizes "" sizes)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/ztservices.pc.in ztservices.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ztservices.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT Development)

  set(legal ${CMAKE_INSTALL_DOCDIR})
  if(CMAKE_INSTALL_PREFIX STREQUAL /usr)  # where packages of two sonames may not have a file in common
    get_target_property(soversion ${name} SOVERSION)
    set(legal ${CMAKE_INSTALL_DATADIR}/doc/lib${name}${soversion})
  endif()
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE DESTINATION ${legal} COMPONENT Runtime)
  install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/SECURITY.md
    ${PROJECT_SOURCE_DIR}/CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Documentation)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT Documentation)
endfunction()

# zt_install_tool(name share): the program, which finds the library beside it wherever both are put, and the folders of
# manual pages and completions. The program that is built has the same path to the library as the installed one: CMake
# would fill a shorter one up with colons, and the loader takes each for the current directory.
function(zt_install_tool name share)
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL /usr)  # where the loader looks without being told
    file(RELATIVE_PATH libraries /root/${CMAKE_INSTALL_BINDIR} /root/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(${name} PROPERTIES INSTALL_RPATH $ORIGIN/${libraries} BUILD_WITH_INSTALL_RPATH ON)
  endif()
  install(TARGETS ${name} RUNTIME COMPONENT Tool)
  foreach(shell bash-completion fish)
    install(DIRECTORY ${share}/${shell} DESTINATION ${CMAKE_INSTALL_DATADIR} COMPONENT Tool)
  endforeach()
  set(functions site-functions)
  if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
    set(functions vendor-completions)  # zsh of Debian looks for those of packages there
  endif()
  install(DIRECTORY ${share}/zsh/site-functions/ DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${functions} COMPONENT Tool)
  install(DIRECTORY ${share}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT Tool)
endfunction()
