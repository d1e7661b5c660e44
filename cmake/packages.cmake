# Debian packages of what is installed, one for each component: `cpack` in a build folder.  A library's package has the number of
# its soname, so that two of them can be installed side by side.

# vorn_add_package(COMPONENT NAME SUMMARY SECTION [packages that it needs...]).  What a library outside gives, dpkg-shlibdeps
# finds out.
function(vorn_add_package component name summary section)
  string(TOUPPER ${component} key)
  list(TRANSFORM ARGN APPEND " (= ${PROJECT_VERSION})")
  list(JOIN ARGN ", " needed)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${needed}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}" PARENT_SCOPE)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name} RENAME copyright
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

set(CPACK_COMPONENTS_ALL)
set(library libvorn${PROJECT_VERSION_MAJOR})
vorn_add_package(library ${library} "The library." libs)
vorn_add_package(specialized ${library}-specialized "Its libraries for AVX-512, AVX2, AVX and SSE4.2." libs ${library})
if(VORN_BUILD_ENCODE)
  set(encode libvornencode${PROJECT_VERSION_MAJOR})
  vorn_add_package(encode ${encode} "Encoders of its stored forms." libs)
endif()
if(VORN_BUILD_HOST)
  set(host libvornhost${PROJECT_VERSION_MAJOR})
  vorn_add_package(host ${host} "A stand-in host." libs ${library}-specialized)
endif()
if(VORN_BUILD_STORE)
  set(store libvornstore${PROJECT_VERSION_MAJOR})
  vorn_add_package(store ${store} "A column store over it." libs ${host})
endif()
vorn_add_package(development libvorn-dev "Headers and static library." libdevel
  ${library} ${library}-specialized ${encode} ${host} ${store})
if(VORN_BUILD_VORNQ)
  cmake_path(GET VORN_DUCKDB_LIBRARY PARENT_PATH duckdb_folder)
  vorn_add_package(vornq vornq "A program that answers queries over tables in files." database ${host})
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGE_VENDOR ${PROJECT_NAME})
set(CPACK_PACKAGE_CONTACT "the authors of ${PROJECT_NAME} <${PROJECT_NAME}@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Libraries that no package of the system has: this build's, and DuckDB's.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/bin ${duckdb_folder})
include(CPack)
