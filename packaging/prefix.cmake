# Read by cpack before it packages.  The folder of libraries was chosen when the build was configured: with another prefix than
# /usr it is not the folder of this architecture, and the files for CMake and pkg-config name the wrong one.
if(NOT CPACK_VORN_PREFIX STREQUAL "/usr")
  message(FATAL_ERROR "Packages are for the prefix /usr. Configure with -DCMAKE_INSTALL_PREFIX=/usr and build first.")
endif()
