# Names all Debian packages that are missing for the parts that are built, before any part looks for them.

set(missing)
# part, what is looked for: a package of CMake or a header, Debian package.  googletest is looked for by its header, since
# the memory sanitizer's build compiles googletest itself and must not meet the installed library.
foreach(need IN ITEMS "HOST PkgConfig pkg-config" "HOST lz4.h liblz4-dev" "HOST xxhash.h libxxhash-dev"
    "ENCODE xxhash.h libxxhash-dev"
    "STORE fmt libfmt-dev" "VORNQ CLI11 libcli11-dev" "TESTS gtest/gtest.h libgtest-dev libgmock-dev" "BENCH fmt libfmt-dev"
    "BENCH benchmark libbenchmark-dev")
  separate_arguments(need)
  list(POP_FRONT need part name)
  if(NOT VORN_BUILD_${part})
    continue()
  elseif(name MATCHES "\\.h$")
    string(MAKE_C_IDENTIFIER VORN_FOLDER_OF_${name} folder)
    find_path(${folder} ${name})
    mark_as_advanced(${folder})
    set(found ${${folder}})
  else()
    find_package(${name} QUIET)
    set(found ${${name}_FOUND})
  endif()
  if(NOT found)
    list(APPEND missing ${need})
  endif()
endforeach()
if(missing)
  list(REMOVE_DUPLICATES missing)
  list(JOIN missing " " missing)
  message(FATAL_ERROR "Missing packages: ${missing}. Install them with tools/install-packages, or leave parts out with "
                      "-DVORN_BUILD_BENCH=OFF, -DVORN_BUILD_TESTS=OFF, -DVORN_BUILD_VORNQ=OFF, "
                      "-DVORN_BUILD_STORE=OFF or -DVORN_BUILD_HOST=OFF.")
endif()
