# SPDX-License-Identifier: Apache-2.0
# What makes a fault of memory, should there be one, harder to exploit: checked copies and stacks, jumps to places that
# are meant for them alone, and tables that cannot be written once the program runs. Debug and sanitized builds have
# their own means.
option(ZT_HARDENING "Compile and link optimised builds with the hardening of compiler and linker" ON)
set(zt_optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)

# zt_harden(TARGET): the link of a program or shared library.
function(zt_harden target)
  if(ZT_HARDENING)
    target_link_options(${target} PRIVATE $<${zt_optimised}:LINKER:-z,relro,-z,now>)
  endif()
endfunction()

add_library(zt_hardening INTERFACE)
if(NOT ZT_HARDENING)
  return()
endif()

include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fcf-protection=full ZT_HAS_CF_PROTECTION)  # of x86
target_compile_options(zt_hardening INTERFACE $<${zt_optimised}:-fstack-protector-strong>
  $<${zt_optimised}:-U_FORTIFY_SOURCE> $<${zt_optimised}:-D_FORTIFY_SOURCE=2>)
if(ZT_HAS_CF_PROTECTION)
  target_compile_options(zt_hardening INTERFACE $<${zt_optimised}:-fcf-protection=full>)
endif()
