# Documents, examples and licences, and the Debian packages of what is installed, one for each component: `cpack` in a build
# folder with the prefix /usr.  A library's package has the number of its soname, so that two of them can be installed side by
# side.

set(packaging ${PROJECT_SOURCE_DIR}/packaging)
set(VORN_PACKAGE_CONTACT "The authors of vorn <authors@vorn.invalid>" CACHE STRING "Who maintains the Debian packages")
mark_as_advanced(VORN_PACKAGE_CONTACT)

# Debian has a folder of documents for each package, and a form of its own for licences and changes.
function(vorn_install_documents folder)
  install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${folder} ${ARGN})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${folder} ${ARGN}
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${folder} ${ARGN}
    FILES_MATCHING PATTERN "*.c" PATTERN "*.h" PATTERN "*.cpp" PATTERN "expected" EXCLUDE)
endfunction()
vorn_install_documents(${CMAKE_INSTALL_DOCDIR} COMPONENT documents)
install(FILES CHANGELOG.md LICENSE packaging/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents)

# A revision of our own, which sorts before the first one of Debian.
set(VORN_PACKAGE_RELEASE 0vorn1)
set(VORN_PACKAGE_VERSION ${PROJECT_VERSION}-${VORN_PACKAGE_RELEASE})
string(TIMESTAMP VORN_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changelog ${PROJECT_BINARY_DIR}/packaging/changelog)
configure_file(${packaging}/changelog.in ${changelog} @ONLY)

# vorn_add_package(COMPONENT NAME SECTION SUMMARY DESCRIPTION [NEEDS package...] [RECOMMENDS package]).  What a library
# outside gives, dpkg-shlibdeps finds out.
function(vorn_add_package component name section summary description)
  cmake_parse_arguments(PARSE_ARGV 5 arg "" "RECOMMENDS" "NEEDS")
  string(TOUPPER ${component} key)
  list(TRANSFORM arg_NEEDS APPEND " (= ${VORN_PACKAGE_VERSION})")
  list(JOIN arg_NEEDS ", " needed)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${needed}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_RECOMMENDS "${arg_RECOMMENDS}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
  # dpkg runs ldconfig at the trigger, once for all packages of one call.  CPack would also write a postinst and a postrm that
  # run it; it leaves out those that are named here and do not exist.
  if(name MATCHES "[0-9]$|driver")
    set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA "${packaging}/triggers;none/postinst;none/postrm" PARENT_SCOPE)
  endif()
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  set(in_packages COMPONENT ${component} EXCLUDE_FROM_ALL)
  set(folder ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name})
  install(FILES packaging/copyright DESTINATION ${folder} ${in_packages})
  install(FILES CHANGELOG.md DESTINATION ${folder} RENAME changelog ${in_packages})
  install(FILES ${changelog} DESTINATION ${folder} RENAME changelog.Debian ${in_packages})
  if(component STREQUAL "development")
    vorn_install_documents(${folder} ${in_packages})
  endif()
  if(EXISTS ${packaging}/${component}.overrides)
    install(FILES ${packaging}/${component}.overrides DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
      RENAME ${name} ${in_packages})
  endif()
endfunction()

set(CPACK_COMPONENTS_ALL)
set(library libvorn${VORN_SOVERSION})
vorn_add_package(library ${library} libs "kernels over compressed column vectors"
  "Filters, decodes, hashes, joins, groups and sums batches of rows of compressed\ncolumns for a host process." RECOMMENDS ${library}-specialized)
vorn_add_package(specialized ${library}-specialized libs "kernels over compressed column vectors - specialised"
  "The kernels of ${library} for AVX-512, AVX2, AVX and SSE4.2. The library loads\nthe best set for the processor." NEEDS ${library})
# The files of two versions have the same names, so one version is installed at a time.
foreach(field PROVIDES CONFLICTS REPLACES)
  set(CPACK_DEBIAN_SPECIALIZED_PACKAGE_${field} libvorn-specialized)
endforeach()
if(VORN_BUILD_ENCODE)
  set(encode libvornencode${VORN_SOVERSION})
  vorn_add_package(encode ${encode} libs "kernels over compressed column vectors - encoders"
    "Writes columns in the forms that libvorn reads, and sizes the tables of its\njoins.")
endif()
if(VORN_BUILD_HOST)
  set(host libvornhost${VORN_SOVERSION})
  vorn_add_package(host ${host} libs "kernels over compressed column vectors - stand-in host"
    "The services that libvorn needs from its process, for programs without\nservices of their own." RECOMMENDS ${library}-specialized)
endif()
if(VORN_BUILD_STORE)
  set(store libvornstore${VORN_SOVERSION})
  vorn_add_package(store ${store} libs "kernels over compressed column vectors - column store"
    "Keeps tables in compressed columns, imports and exports them through the Arrow\nC interfaces, and queries them with libvorn." NEEDS ${library} ${host})
endif()
vorn_add_package(development libvorn-dev libdevel "kernels over compressed column vectors - development files"
  "Headers, the static library, files for CMake and pkg-config, documents and\nexamples." NEEDS ${library} ${library}-specialized ${encode} ${host} ${store})
if(VORN_BUILD_VORNQ)
  cmake_path(GET VORN_DUCKDB_LIBRARY PARENT_PATH duckdb_folder)
  vorn_add_package(vornq vornq database "queries on compressed tables, compared with DuckDB"
    "Reads tables from Parquet and CSV files, keeps them in compressed columns, and\nanswers conditions, joins, groups and sums. Compares each answer with DuckDB." NEEDS ${host} RECOMMENDS ${library}-specialized)
  # DuckDB's library is in the package of vornq.
  vorn_add_package(adbc libadbc-driver-vorn libs "queries on compressed tables - ADBC driver"
    "Answers SQL on compressed columns for programs with a driver manager of ADBC,\nArrow Database Connectivity, in any language." NEEDS ${host} vornq RECOMMENDS ${library}-specialized)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGE_VENDOR ${PROJECT_NAME})
set(CPACK_PACKAGE_CONTACT "${VORN_PACKAGE_CONTACT}")
# CPack puts any summary except its default one before the summaries of the packages.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_NAME} built using CMake")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${VORN_PACKAGE_RELEASE})
set(CPACK_DEBIAN_PACKAGE_SOURCE ${PROJECT_NAME})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Libraries that no package of the system has: this build's, and DuckDB's.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/bin ${duckdb_folder})
set(CPACK_PROJECT_CONFIG_FILE ${packaging}/prefix.cmake)
set(CPACK_VORN_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PRE_BUILD_SCRIPTS ${packaging}/finish.cmake)
include(CPack)
