# The names by which a program finds a shared library and its symbols at run time.  The policy is in docs/abi.md.

# A version below 1 can break the ABI with a minor version, so the minor version is a part of the soname.
set(VORN_SOVERSION ${PROJECT_VERSION_MAJOR})
if(PROJECT_VERSION_MAJOR EQUAL 0)
  string(APPEND VORN_SOVERSION .${PROJECT_VERSION_MINOR})
endif()

# vorn_set_abi(TARGET NODE MAP): gives a shared library its soname, and all symbols that it exports the version
# NODE_<soversion>.  MAP is a version script of the linker that names this version VORN_SYMBOL_VERSION.
function(vorn_set_abi target node map)
  set(VORN_SYMBOL_VERSION ${node}_${VORN_SOVERSION})
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  configure_file(${map} ${script} @ONLY)
  target_link_options(${target} PRIVATE -Wl,--version-script=${script})
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${VORN_SOVERSION})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()
