# SPDX-License-Identifier: Apache-2.0
# The tool's tests run with a stand-in for the network library that the XML parser is linked to: each of its functions but
# those that set it up and take it down ends the program. A program that wants the network fails its test, and each start
# of the tool is spared the loading of about 25 libraries, which takes half of the time.
#
# zt_without_network(): the tests of this directory so far run with it.
get_target_property(parser XercesC::XercesC IMPORTED_LOCATION_RELEASE)
if(NOT parser)
  get_target_property(parser XercesC::XercesC IMPORTED_LOCATION)
endif()
if(NOT parser)
  set(parser ${XercesC_LIBRARY_RELEASE})
endif()
execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${parser} OUTPUT_VARIABLE needed ERROR_QUIET)
execute_process(COMMAND ${CMAKE_NM} -D --undefined-only ${parser} OUTPUT_VARIABLE wanted ERROR_QUIET)
string(REGEX MATCH "NEEDED +(libcurl[^\n ]*)" found "${needed}")
set(network_library ${CMAKE_MATCH_1})
string(REGEX MATCH "@(CURL_[A-Z0-9_]+)" found "${wanted}")
set(network_version ${CMAKE_MATCH_1})
string(REGEX MATCHALL "curl_[a-z_]+" network_functions "${wanted}")
list(REMOVE_DUPLICATES network_functions)

if(NOT network_library OR NOT network_version)
  function(zt_without_network)
  endfunction()
  return()
endif()

set(source "#include <cstdlib>\n")
foreach(function IN LISTS network_functions)
  set(does "std::abort();")
  if(function MATCHES "^curl_global_(init|cleanup)$")
    set(does "return 0;")
  endif()
  string(APPEND source "extern \"C\" int ${function}() { ${does} }\n")
endforeach()
set(folder ${CMAKE_BINARY_DIR}/tests/without-network)
file(CONFIGURE OUTPUT ${folder}/NoNetwork.cpp CONTENT "${source}")
file(CONFIGURE OUTPUT ${folder}/NoNetwork.map CONTENT "${network_version} { global: curl_*; };\n")
add_library(zt_no_network SHARED ${folder}/NoNetwork.cpp)
set_target_properties(zt_no_network PROPERTIES PREFIX "" OUTPUT_NAME ${network_library} SUFFIX ""
  LIBRARY_OUTPUT_DIRECTORY ${folder} LINK_DEPENDS ${folder}/NoNetwork.map)
target_link_options(zt_no_network PRIVATE LINKER:--version-script=${folder}/NoNetwork.map
  LINKER:-soname,${network_library})

function(zt_without_network)
  get_property(tests DIRECTORY PROPERTY TESTS)
  set_property(TEST ${tests} APPEND PROPERTY ENVIRONMENT_MODIFICATION "LD_LIBRARY_PATH=path_list_prepend:${folder}")
endfunction()
