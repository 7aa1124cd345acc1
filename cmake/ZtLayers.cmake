# SPDX-License-Identifier: Apache-2.0
set_property(GLOBAL PROPERTY ZT_LAYERS "")
set_property(GLOBAL PROPERTY ZT_PUBLIC_HEADERS "")

# Every target of the project is compiled with these; presets make warnings errors.
add_library(zt_flags INTERFACE)
target_compile_features(zt_flags INTERFACE cxx_std_20)
# Files beyond 2 GiB and times beyond 2038 where a word has 32 bits. A public header names struct stat, so that programs
# that use the library are compiled with the same sizes.
set(zt_sizes)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(zt_sizes _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()
target_compile_definitions(zt_flags INTERFACE ${zt_sizes})
target_compile_options(zt_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow
  -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
  # GCC 12 sees an overlap in "text" + std::string that is not there (GCC bug 105651).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  # In a unity build every source is an included file, whose classes may not use its local types, GCC thinks.
  $<$<AND:$<BOOL:${CMAKE_UNITY_BUILD}>,$<CXX_COMPILER_ID:GNU>>:-Wno-subobject-linkage>)

# zt_layer(name FOLDER folder-of-src [DEPENDS layers] [THIRD_PARTY targets] [SHOWS targets] [HEADERS public headers])
# SHOWS are foreign libraries whose types stand in the layer's own headers, THIRD_PARTY those it hides.
# The sources are the folder's, so that a file in the wrong folder cannot be linked anywhere else.
function(zt_layer name)
  cmake_parse_arguments(L "" "FOLDER" "DEPENDS;THIRD_PARTY;SHOWS;HEADERS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${L_FOLDER}/*.cpp)
  add_library(${name} STATIC ${sources})
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON CXX_EXTENSIONS OFF ZT_FOLDER ${L_FOLDER})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${L_DEPENDS} ${L_SHOWS} PRIVATE zt_flags zt_hardening ${L_THIRD_PARTY})
  set_property(GLOBAL APPEND PROPERTY ZT_LAYERS ${name})
  set_property(GLOBAL APPEND PROPERTY ZT_PUBLIC_HEADERS ${L_HEADERS})
endfunction()

# zt_library(name): the product, one library of all layers' objects and the public headers.
function(zt_library name)
  get_property(layers GLOBAL PROPERTY ZT_LAYERS)
  get_property(headers GLOBAL PROPERTY ZT_PUBLIC_HEADERS)
  list(TRANSFORM headers PREPEND ${PROJECT_SOURCE_DIR}/include/)
  foreach(layer IN LISTS layers)
    list(APPEND objects $<TARGET_OBJECTS:${layer}>)
  endforeach()
  add_library(${name} ${objects})
  add_library(${name}::${name} ALIAS ${name})
  # Before 1.0 a minor version may break what was built with the one before.
  set(soversion ${PROJECT_VERSION_MAJOR})
  if(soversion EQUAL 0)
    set(soversion 0.${PROJECT_VERSION_MINOR})
  endif()
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${soversion}
    LINKER_LANGUAGE CXX CXX_EXTENSIONS OFF VERIFY_INTERFACE_HEADER_SETS ON)
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_compile_definitions(${name} PUBLIC ${zt_sizes})
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/include FILES ${headers})
  target_link_libraries(${name} PUBLIC Boost::boost
    PRIVATE Boost::regex XercesC::XercesC ZLIB::ZLIB libdeflate::libdeflate OpenSSL::Crypto ICU::i18n ICU::uc)
  # Templates of other libraries that the layers instantiate are nobody else's to link.
  set(exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
  target_link_options(${name} PRIVATE
    $<$<BOOL:${BUILD_SHARED_LIBS}>:-Wl,--no-undefined,--version-script=${exports}>)
  set_target_properties(${name} PROPERTIES LINK_DEPENDS ${exports})
  if(BUILD_SHARED_LIBS)
    zt_harden(${name})
  endif()
endfunction()
