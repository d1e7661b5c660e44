# The manual page of a program, made from its document.

# vorn_add_manual_page(COMPONENT DOCUMENT): builds and installs the page that tools/manual-page makes of docs/NAME.md.  Without
# lowdown, which renders the text, there is no page.
find_program(VORN_LOWDOWN lowdown DOC "Renders manual pages")
if(NOT VORN_LOWDOWN)
  message(STATUS "No manual page: lowdown is missing (Debian: lowdown)")
endif()

function(vorn_add_manual_page component document)
  if(NOT VORN_LOWDOWN)
    return()
  endif()
  cmake_path(GET document STEM name)
  set(page ${CMAKE_CURRENT_BINARY_DIR}/${name}.1)
  add_custom_command(OUTPUT ${page} COMMENT "Manual page of ${name}" VERBATIM
    COMMAND ${CMAKE_COMMAND} -E env LOWDOWN=${VORN_LOWDOWN} ${PROJECT_SOURCE_DIR}/tools/manual-page ${document} ${page}
    DEPENDS ${document} ${PROJECT_SOURCE_DIR}/tools/manual-page)
  add_custom_target(${name}_manual ALL DEPENDS ${page})
  vorn_install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
endfunction()
