# What makes faults of memory harder to exploit.
#
# Every library and program resolves its symbols when it is loaded, and its tables of addresses are read-only afterwards.
# VORN_HARDENED also compiles stack protectors, checked functions of the C library, and marks for indirect jumps.
option(VORN_HARDENED "Compile with stack protectors, _FORTIFY_SOURCE and control-flow protection" OFF)

add_link_options(LINKER:-z,relro,-z,now)
if(VORN_HARDENED)
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    add_compile_options(-fcf-protection=full)
  endif()
endif()
