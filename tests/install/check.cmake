# SPDX-License-Identifier: Apache-2.0
# cmake -DBUILD=build-tree -DSOURCE=source-tree -DWORK=scratch -P check.cmake
# Installs the library, builds the example against what was installed, and runs it.
file(REMOVE_RECURSE ${WORK})
function(step)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()
step(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
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
step(${CMAKE_COMMAND} -S ${SOURCE}/tests/install -B ${WORK}/build -G Ninja -DCMAKE_PREFIX_PATH=${WORK}/prefix
  -DEXAMPLE=${SOURCE}/examples/keep_directory.cpp -DCMAKE_CXX_COMPILER=${COMPILER} "-DCMAKE_CXX_FLAGS=${FLAGS}")
step(${CMAKE_COMMAND} --build ${WORK}/build)
step(${WORK}/build/consumer ${SOURCE}/examples ${WORK}/examples.ztp ${WORK}/restored)
step(${CMAKE_COMMAND} -E compare_files ${SOURCE}/examples/keep_directory.cpp ${WORK}/restored/keep_directory.cpp)
