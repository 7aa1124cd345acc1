# SPDX-License-Identifier: Apache-2.0
# cmake -DBUILD=build-tree -DSOURCE=source-tree -DWORK=scratch -DVERSION=version [-DWHOLE=ON] -P check.cmake
# Installs the library, moves it, builds the example against what was installed as CMake and pkg-config find it, and runs
# it; runs the installed tool; and makes the library a part of another project.
file(REMOVE_RECURSE ${WORK})
function(step)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_VARIABLE output OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(output "${output}" PARENT_SCOPE)
endfunction()
step(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/first)
file(RENAME ${WORK}/first ${WORK}/prefix)
set(libraries ${WORK}/prefix/lib)
foreach(file bash-completion/completions/ztpkg zsh/site-functions/_ztpkg fish/vendor_completions.d/ztpkg.fish
    man/man1/ztpkg.1 man/man1/ztpkg-pack.1)
  if(EXISTS ${BUILD}/tool/share AND NOT EXISTS ${WORK}/prefix/share/${file})
    message(FATAL_ERROR "share/${file} was not installed")
  endif()
endforeach()
foreach(file LICENSE NOTICE)
  if(NOT EXISTS ${WORK}/prefix/share/doc/ztservices/${file})
    message(FATAL_ERROR "${file} was not installed")
  endif()
endforeach()
if(EXISTS ${WORK}/prefix/bin/ztpkg)
  step(${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${WORK}/prefix/bin/ztpkg --version)
endif()

function(check consumer)
  file(REMOVE_RECURSE ${WORK}/restored)
  file(REMOVE ${WORK}/examples.ztp)
  step(${consumer} ${SOURCE}/examples ${WORK}/examples.ztp ${WORK}/restored)
  step(${CMAKE_COMMAND} -E compare_files ${SOURCE}/examples/keep_directory.cpp ${WORK}/restored/keep_directory.cpp)
endfunction()

step(${CMAKE_COMMAND} -S ${SOURCE}/tests/install -B ${WORK}/build -G Ninja -DCMAKE_PREFIX_PATH=${WORK}/prefix
  -DEXAMPLE=${SOURCE}/examples/keep_directory.cpp -DCMAKE_CXX_COMPILER=${COMPILER} "-DCMAKE_CXX_FLAGS=${FLAGS}"
  -DZTSERVICES_VERSION=${VERSION})
step(${CMAKE_COMMAND} --build ${WORK}/build)
check(${WORK}/build/consumer)
execute_process(COMMAND ${CMAKE_COMMAND} ${WORK}/build -DZTSERVICES_VERSION=999 RESULT_VARIABLE status OUTPUT_QUIET
  ERROR_VARIABLE output)
if(status EQUAL 0 OR NOT output MATCHES "compatible with requested version \"999\"")
  message(FATAL_ERROR "find_package takes the library for version 999: ${status} ${output}")
endif()

# The examples, as a reader of the documentation builds them.
step(${CMAKE_COMMAND} -S ${SOURCE}/examples -B ${WORK}/examples -G Ninja -DCMAKE_PREFIX_PATH=${WORK}/prefix
  -DCMAKE_CXX_COMPILER=${COMPILER} "-DCMAKE_CXX_FLAGS=${FLAGS}" -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
step(${CMAKE_COMMAND} --build ${WORK}/examples)
step(${PYTHON} ${SOURCE}/tests/install/run_examples.py ${WORK}/examples)

set(ENV{PKG_CONFIG_PATH} ${libraries}/pkgconfig)
step(pkg-config --cflags --libs ztservices)
separate_arguments(flags UNIX_COMMAND "${FLAGS} ${output}")
step(${COMPILER} -std=c++20 ${SOURCE}/examples/keep_directory.cpp -o ${WORK}/by-pkg-config ${flags} -Wl,-rpath,${libraries})
check(${WORK}/by-pkg-config)

# What other projects would have to link by chance, or would replace by their own.
if(EXISTS ${libraries}/libztservices.so)
  step(nm -DC --defined-only ${libraries}/libztservices.so)
  string(REGEX REPLACE "[^\n]* [A-Za-z] ((non-virtual thunk to|virtual thunk to|typeinfo for|typeinfo name for|vtable for|VTT for) )?(opc|foundation)::[^\n]*" "" others "${output}")
  string(STRIP "${others}" others)
  if(NOT others STREQUAL "")
    message(FATAL_ERROR "the library exports names of others: ${others}")
  endif()
endif()

# In another project it changes no setting of this, and neither builds its tool nor installs anything: as a folder of it, and
# fetched from the sources alone. With WHOLE both are built too, which takes minutes.
function(check_part folder)
  step(${CMAKE_COMMAND} -S ${SOURCE}/tests/install -B ${WORK}/${folder} -G Ninja ${ARGN}
    -DEXAMPLE=${SOURCE}/examples/keep_directory.cpp -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON)
  file(STRINGS ${WORK}/${folder}/CMakeCache.txt shared REGEX "^BUILD_SHARED_LIBS:")
  file(GLOB_RECURSE scripts ${WORK}/${folder}/cmake_install.cmake)
  set(installed)
  foreach(script IN LISTS scripts)
    file(STRINGS ${script} lines REGEX "file\\(INSTALL")
    list(APPEND installed ${lines})
  endforeach()
  if(shared OR installed)
    message(FATAL_ERROR "the other project has got: ${shared} ${installed}")
  endif()
  step(${CMAKE_COMMAND} --build ${WORK}/${folder} --target consumer -- -n)
  if(WHOLE)
    step(${CMAKE_COMMAND} --build ${WORK}/${folder})
    check(${WORK}/${folder}/consumer)
  endif()
endfunction()

check_part(whole -DZTSERVICES=${SOURCE})
execute_process(COMMAND ${CMAKE_COMMAND} -E tar czf ${WORK}/ztservices.tar.gz CMakeLists.txt cmake include src
  WORKING_DIRECTORY ${SOURCE} COMMAND_ERROR_IS_FATAL ANY)
check_part(fetched -DZTSERVICES_URL=${WORK}/ztservices.tar.gz)
