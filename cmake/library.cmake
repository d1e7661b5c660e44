# libvorn, shared and static, and the four specialised libraries, which are the kernels compiled again with the flags of
# their instruction set behind one exported symbol.

set(VORN_KERNEL_SOURCES
  bitvec/byte_popc.cpp
  bitvec/lbiv.cpp
  bitvec/lbiwv.cpp
  frame/implementation.cpp
  generic/dict_compare.cpp
  generic/dict_decode.cpp
  generic/dict_set.cpp
  generic/dict_symbol.cpp
  generic/dict_unpack.cpp
  generic/dispatch_table.cpp
  generic/dynp_compare.cpp
  generic/dynp_lengths.cpp
  generic/fixed_compare.cpp
  generic/placeholders.cpp
  generic/prefix_decode.cpp
  generic/qpak.cpp
  generic/rle_burst.cpp
  generic/rle_expand.cpp)

set(VORN_FRAME_SOURCES
  decode/decode.cpp
  decode/prefix.cpp
  decode/qpak.cpp
  decode/rle_burst.cpp
  decode/symbol.cpp
  decode/unpack.cpp
  frame/call.cpp
  frame/costs.cpp
  frame/global_ctx.cpp
  frame/names.cpp
  frame/trace.cpp
  frame/vorn.cpp
  scan/cmp.cpp
  scan/in_set.cpp
  scan/range_cmp.cpp
  scan/rowz.cpp)

# The library raises nothing itself and has nothing to clean up when a reporter of the host unwinds through it, so unwind
# tables are enough.  Without exceptions it needs no run-time library of C++.
# Trace records name sources by their place in the tree.
set(VORN_LIBRARY_OPTIONS -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/= -fno-exceptions -fno-rtti -fasynchronous-unwind-tables)

add_library(vorn_objects OBJECT ${VORN_FRAME_SOURCES} ${VORN_KERNEL_SOURCES})
target_include_directories(vorn_objects PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_options(vorn_objects PRIVATE ${VORN_LIBRARY_OPTIONS})

# The installed headers are <vorn/vorn.h>; in the tree they are "frame/vorn.h".  The build folder has them under their
# installed names too, for what uses the library as a program outside would.
set(VORN_HEADERS frame/vorn.h frame/host.h frame/vorn_specialized.h)
set(VORN_BUILD_INCLUDE ${PROJECT_BINARY_DIR}/include)
function(vorn_link_headers)
  file(MAKE_DIRECTORY ${VORN_BUILD_INCLUDE}/vorn)
  foreach(header ${ARGN})
    cmake_path(GET header FILENAME name)
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${VORN_BUILD_INCLUDE}/vorn/${name} SYMBOLIC)
  endforeach()
endfunction()
vorn_link_headers(${VORN_HEADERS})
foreach(variant vorn vorn_static)
  if(variant STREQUAL "vorn")
    add_library(vorn SHARED $<TARGET_OBJECTS:vorn_objects>)
    set_target_properties(vorn PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    target_link_options(vorn PRIVATE -Wl,--as-needed)
  else()
    add_library(vorn_static STATIC $<TARGET_OBJECTS:vorn_objects>)
    set_target_properties(vorn_static PROPERTIES OUTPUT_NAME vorn)
  endif()
  add_library(vorn::${variant} ALIAS ${variant})
  target_include_directories(${variant} INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<BUILD_INTERFACE:${VORN_BUILD_INCLUDE}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()

function(vorn_add_specialized name)
  add_library(${name} MODULE ${VORN_KERNEL_SOURCES} isa/specialized_ctx.cpp)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${name} PRIVATE VORN_ISA_LIB_NAME="${name}")
  target_compile_options(${name} PRIVATE ${VORN_LIBRARY_OPTIONS} ${ARGN})
  target_link_options(${name} PRIVATE -Wl,--as-needed -Wl,--version-script=${PROJECT_SOURCE_DIR}/isa/specialized.map)
  set_target_properties(${name} PROPERTIES PREFIX "" LINK_DEPENDS ${PROJECT_SOURCE_DIR}/isa/specialized.map)
endfunction()

set(VORN_V2 -msse3 -mssse3 -msse4.1 -msse4.2 -mpopcnt -mcx16 -msahf)
set(VORN_V3 ${VORN_V2} -mavx -mavx2 -mbmi -mbmi2 -mf16c -mfma -mlzcnt -mmovbe)
set(VORN_V4 ${VORN_V3} -mavx512f -mavx512bw -mavx512cd -mavx512dq -mavx512vl -mprefer-vector-width=512)

vorn_add_specialized(svxlsse4219 ${VORN_V2})
vorn_add_specialized(svxlavx19 ${VORN_V2} -mavx)
vorn_add_specialized(svxlavx219 ${VORN_V3})
vorn_add_specialized(svxlavx51219 ${VORN_V4})

set(VORN_SPECIALIZED svxlsse4219 svxlavx19 svxlavx219 svxlavx51219)
add_custom_target(vorn_specialized DEPENDS ${VORN_SPECIALIZED})

# What a host installs: headers, libraries, and the files that find_package and pkg-config read.
include(CMakePackageConfigHelpers)
install(FILES ${VORN_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorn)
install(TARGETS vorn vorn_static EXPORT vorn-targets)
install(TARGETS ${VORN_SPECIALIZED} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/vorn)
install(EXPORT vorn-targets NAMESPACE vorn:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vorn)
configure_package_config_file(cmake/vorn-config.cmake.in ${CMAKE_BINARY_DIR}/vorn-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vorn)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vorn-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vorn-config.cmake ${CMAKE_BINARY_DIR}/vorn-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vorn)
configure_file(cmake/vorn.pc.in ${CMAKE_BINARY_DIR}/vorn.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vorn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
