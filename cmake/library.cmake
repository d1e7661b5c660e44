# libvorn, shared and static, and the specialised libraries.  The kernels are compiled once for every level, with its
# flags and in its namespace; a specialised library has one level, or two, and one exported symbol.

include(cmake/abi.cmake)

set(VORN_ALL_SPECIALIZED)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  set(VORN_ALL_SPECIALIZED svxlsse4219 svxlavx19 svxlavx219 svxlavx51219)
endif()
set(VORN_SPECIALIZED ${VORN_ALL_SPECIALIZED} CACHE STRING "The specialised libraries that are built and installed")

# The kernels: those that each level has of its own, and those that a level may take from another level of its library.
set(VORN_OWN_KERNEL_SOURCES
  generic/bitvec/lbiv.cpp
  generic/bitvec/lbiwv.cpp
  generic/decode/dict_unpack.cpp
  generic/decode/rle_expand.cpp
  generic/expr/groupkey.cpp
  generic/scan/dict_compare.cpp
  generic/scan/dict_set.cpp
  generic/scan/dynp_compare.cpp
  generic/scan/fixed_compare.cpp)
set(VORN_BASE_KERNEL_SOURCES
  generic/decode/dict_decode.cpp
  generic/decode/dict_symbol.cpp
  generic/decode/prefix_decode.cpp
  generic/decode/qpak.cpp
  generic/decode/rle_burst.cpp
  generic/expr/arith.cpp
  generic/expr/convert.cpp
  generic/expr/pip.cpp
  generic/expr/sum.cpp
  generic/expr/translate.cpp
  generic/join/bloom.cpp
  generic/join/build.cpp
  generic/join/gather.cpp
  generic/join/hash.cpp
  generic/join/partition.cpp
  generic/join/probe.cpp
  generic/join/transpose.cpp
  generic/table/hooks.cpp
  generic/table/placeholders.cpp)
set(VORN_KERNEL_SOURCES ${VORN_OWN_KERNEL_SOURCES} ${VORN_BASE_KERNEL_SOURCES})

# What is libvorn's alone: the entry points, the record in force, the tables that it exports.
set(VORN_FRAME_SOURCES
  entry/decode/decode.cpp
  entry/decode/prefix.cpp
  entry/decode/qpak.cpp
  entry/decode/rle_burst.cpp
  entry/decode/symbol.cpp
  entry/decode/unpack.cpp
  entry/expr/arith.cpp
  entry/expr/empty.cpp
  entry/expr/groupkey.cpp
  entry/expr/numbers.cpp
  entry/expr/pip.cpp
  entry/expr/xlate.cpp
  entry/join/bloom.cpp
  entry/join/join.cpp
  entry/scan/cmp.cpp
  entry/scan/in_set.cpp
  entry/scan/range_cmp.cpp
  entry/scan/rowz.cpp
  frame/builders.cpp
  frame/costs.cpp
  frame/entry_point.cpp
  frame/names.cpp
  frame/start_up.cpp
  frame/trace.cpp
  generic/table/exported_tables.cpp
  generic/table/global_ctx.cpp)

# gcc clears records of some size by an instruction of x86-64 that takes 30 cycles to start, more than the rest of a small
# call.
include(CheckCXXCompilerFlag)
set(VORN_MEMSET_STRATEGY -mmemset-strategy=vector_loop:512:noalign,libcall:-1:noalign)
check_cxx_compiler_flag(${VORN_MEMSET_STRATEGY} VORN_HAS_MEMSET_STRATEGY)

# A short loop that crosses a cache line takes up to 1.6 times as long (EPYC of the third generation), so loops begin at
# multiples of 32 bytes.
set(VORN_LOOP_ALIGNMENT -falign-loops=32)
check_cxx_compiler_flag(${VORN_LOOP_ALIGNMENT} VORN_HAS_LOOP_ALIGNMENT)

# vorn_add_level(LEVEL SOURCES source... [ENGINE engine] [BASE level] [FLAGS flag...]): the objects vorn_level_LEVEL.  The
# engine is a folder of isa/, whose passes the kernels take.  With a base the record of the level has the base's kernels
# for the sources that only the base compiles.
#
# The library raises nothing itself and has nothing to clean up when a reporter of the host unwinds through it, so unwind
# tables are enough.  Without exceptions it needs no run-time library of C++.
# Trace records name sources by their place in the tree.
function(vorn_add_level level)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "ENGINE;BASE" "SOURCES;FLAGS")
  add_library(vorn_level_${level} OBJECT EXCLUDE_FROM_ALL ${arg_SOURCES})
  if(arg_ENGINE)
    target_compile_definitions(vorn_level_${level} PRIVATE VORN_ENGINE="isa/${arg_ENGINE}/engine.hpp")
  endif()
  if(arg_BASE)
    target_compile_definitions(vorn_level_${level} PRIVATE VORN_BASE_LEVEL=${arg_BASE})
  endif()
  target_include_directories(vorn_level_${level} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_definitions(vorn_level_${level} PRIVATE VORN_LEVEL=${level})
  target_compile_options(vorn_level_${level} PRIVATE
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/= -fno-exceptions -fno-rtti -fasynchronous-unwind-tables
    $<$<BOOL:${VORN_HAS_MEMSET_STRATEGY}>:${VORN_MEMSET_STRATEGY}>
    $<$<BOOL:${VORN_HAS_LOOP_ALIGNMENT}>:${VORN_LOOP_ALIGNMENT}> ${arg_FLAGS})
endfunction()

vorn_add_level(generic SOURCES ${VORN_KERNEL_SOURCES} ${VORN_FRAME_SOURCES})

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
    add_library(vorn SHARED $<TARGET_OBJECTS:vorn_level_generic>)
    vorn_set_abi(vorn VORN ${PROJECT_SOURCE_DIR}/frame/export.map.in)
    target_link_options(vorn PRIVATE -Wl,--as-needed)
  else()
    add_library(vorn_static STATIC $<TARGET_OBJECTS:vorn_level_generic>)
    set_target_properties(vorn_static PROPERTIES OUTPUT_NAME vorn)
  endif()
  add_library(vorn::${variant} ALIAS ${variant})
  target_include_directories(${variant} INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<BUILD_INTERFACE:${VORN_BUILD_INCLUDE}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()

# vorn_add_specialized(NAME LEVEL [VBMI]): a library of a level.  With VBMI it also has the level vbmi, and takes that level's
# record when it is loaded on a processor that has it.  All libraries lie in one folder, which a project that builds vorn as
# its part finds in vorn_SPECIALIZED_DIR as one that finds the package does.  With a generator of several build types the
# folder depends on the type, so its name is a generator expression.
set(folder ${PROJECT_BINARY_DIR}/bin)
if(VORN_MULTI_CONFIG)
  string(APPEND folder /$<CONFIG>)
endif()
set(vorn_SPECIALIZED_DIR ${folder} CACHE INTERNAL "Where the specialised libraries are")
function(vorn_add_specialized name level)
  cmake_parse_arguments(PARSE_ARGV 2 arg "VBMI" "" "")
  if(NOT name IN_LIST VORN_SPECIALIZED)
    return()
  endif()
  add_library(${name} MODULE isa/library.cpp $<TARGET_OBJECTS:vorn_level_${level}>)
  if(arg_VBMI)
    target_sources(${name} PRIVATE $<TARGET_OBJECTS:vorn_level_vbmi>)
    target_compile_definitions(${name} PRIVATE VORN_VBMI_LEVEL=vbmi)
  endif()
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${name} PRIVATE VORN_LIBRARY_NAME="${name}" VORN_LEVEL=${level})
  target_compile_options(${name} PRIVATE -fno-exceptions -fno-rtti)
  target_link_options(${name} PRIVATE
    -Wl,--as-needed -Wl,--version-script=${PROJECT_SOURCE_DIR}/isa/library.map)
  set_target_properties(${name} PROPERTIES PREFIX "" LINK_DEPENDS ${PROJECT_SOURCE_DIR}/isa/library.map
    LIBRARY_OUTPUT_DIRECTORY ${vorn_SPECIALIZED_DIR})
endfunction()

# The levels are those of x86-64.  On every other processor the library has its generic kernels alone.
if(VORN_ALL_SPECIALIZED)
  set(VORN_V2 -msse3 -mssse3 -msse4.1 -msse4.2 -mpopcnt -mcx16 -msahf)
  set(VORN_V3 ${VORN_V2} -mavx -mavx2 -mbmi -mbmi2 -mf16c -mfma -mlzcnt -mmovbe)
  set(VORN_V4 ${VORN_V3} -mavx512f -mavx512bw -mavx512cd -mavx512dq -mavx512vl -mprefer-vector-width=512)

  # gcc 12 takes the undefined lanes inside some intrinsics for mistakes.
  set(VORN_VBMI ${VORN_V4} -mavx512vbmi -mavx512vbmi2 -mavx512bitalg -mavx512vpopcntdq -mgfni
    $<$<CXX_COMPILER_ID:GNU>:-Wno-uninitialized> $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)

  set(VORN_LEVELS sse42 avx avx2 avx512 vbmi)
  set(VORN_LEVEL_SOURCES ${VORN_KERNEL_SOURCES} isa/level.cpp)
  vorn_add_level(sse42 ENGINE avx2 SOURCES ${VORN_LEVEL_SOURCES} FLAGS ${VORN_V2})
  vorn_add_level(avx ENGINE avx2 SOURCES ${VORN_LEVEL_SOURCES} FLAGS ${VORN_V2} -mavx)
  vorn_add_level(avx2 ENGINE avx2 SOURCES ${VORN_LEVEL_SOURCES} FLAGS ${VORN_V3})
  vorn_add_level(avx512 ENGINE avx2 SOURCES ${VORN_LEVEL_SOURCES} FLAGS ${VORN_V4})
  # Joins, expressions and decoders of values gain nothing from VBMI.
  vorn_add_level(vbmi ENGINE vbmi BASE avx512 SOURCES ${VORN_OWN_KERNEL_SOURCES} isa/level.cpp FLAGS ${VORN_VBMI})

  vorn_add_specialized(svxlsse4219 sse42)
  vorn_add_specialized(svxlavx19 avx)
  vorn_add_specialized(svxlavx219 avx2)
  vorn_add_specialized(svxlavx51219 avx512 VBMI)
endif()
add_custom_target(vorn_specialized DEPENDS ${VORN_SPECIALIZED})

# What a host installs: headers, libraries, and the files that find_package and pkg-config read.  These also say where the
# specialised libraries are.

# vorn_install(ARGUMENT...): install(), unless another project builds vorn as its part and does not ask for it.
macro(vorn_install)
  if(VORN_INSTALL)
    install(${ARGN})
  endif()
endmacro()

include(CMakePackageConfigHelpers)
vorn_install(FILES ${VORN_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorn COMPONENT development)
vorn_install(TARGETS vorn vorn_static EXPORT vorn-targets
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
if(VORN_SPECIALIZED)
  vorn_install(TARGETS ${VORN_SPECIALIZED} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/vorn COMPONENT specialized)
endif()
vorn_install(EXPORT vorn-targets NAMESPACE vorn:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vorn COMPONENT development)
set(VORN_INSTALL_SPECIALIZED_DIR ${CMAKE_INSTALL_LIBDIR}/vorn)
configure_package_config_file(cmake/vorn-config.cmake.in ${PROJECT_BINARY_DIR}/vorn-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vorn PATH_VARS VORN_INSTALL_SPECIALIZED_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vorn-config-version.cmake COMPATIBILITY SameMinorVersion)
vorn_install(FILES ${PROJECT_BINARY_DIR}/vorn-config.cmake ${PROJECT_BINARY_DIR}/vorn-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vorn COMPONENT development)
# The installed folders are named from where the file itself is, so that they may move together.
file(RELATIVE_PATH VORN_PC_TO_INCLUDE ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/vorn.pc.in ${PROJECT_BINARY_DIR}/vorn.pc @ONLY)
vorn_install(FILES ${PROJECT_BINARY_DIR}/vorn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
