# SPDX-License-Identifier: Apache-2.0
include(GoogleTest)

# zt_test_program(target [COST seconds]): the tests of a GoogleTest program. ctest knows each by its name and gives it a
# process of its own; where ZT_WHOLE_PROGRAMS is set in ctest's environment, as scripts/test does when it runs all
# tests, the program is one test: most tests take less time than it takes to start a process. What costs most starts first.
function(zt_test_program target)
  cmake_parse_arguments(P "" "COST" "" ${ARGN})
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 300)
  get_property(includes DIRECTORY PROPERTY TEST_INCLUDE_FILES)
  list(POP_BACK includes single_tests)
  set(choice ${CMAKE_CURRENT_BINARY_DIR}/${target}_choice.cmake)
  file(GENERATE OUTPUT ${choice} CONTENT "if(DEFINED ENV{ZT_WHOLE_PROGRAMS})
  add_test([==[${target}]==] [==[$<TARGET_FILE:${target}>]==] --gtest_brief=1)
  set_tests_properties([==[${target}]==] PROPERTIES TIMEOUT 600 COST \"${P_COST}\")
else()
  include([==[${single_tests}]==])
endif()
")
  set_property(DIRECTORY PROPERTY TEST_INCLUDE_FILES ${includes} ${choice})
endfunction()
