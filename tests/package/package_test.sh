# Uses vorn as a project outside would, from a folder outside this tree:
#
#   install               installs into an empty prefix and moves that to another place, where the others look for it
#   find_package LIBRARY  builds the consumer with the CMake package
#   pkg_config            builds it with the compiler alone
#   add_subdirectory      builds it with vorn as a part of its project
#   fetch_content         does the same by FetchContent, in the folder of add_subdirectory, where most sources are compiled
#   alone                 configures the library without the stand-in host
#   levels                takes one specialised library away after the other: the next level is loaded
#   document NAME         does what docs/NAME.md says
#   store                 builds a program over the store with the CMake package and with pkg-config
#   vornq                 runs the installed program
#   debian                reads the Debian packages with lintian, installs them into an empty root, does the same with
#                         these, find_package, pkg_config, store, vornq, and removes them
#   remove                removes the folder
#
# SOURCE, BUILD, CMAKE and CC name what is tested.
set -eu
unset CMAKE_PREFIX_PATH PKG_CONFIG_PATH LD_LIBRARY_PATH
root=${TMPDIR:-/tmp}/vorn-package-$(printf %s "$BUILD" | cksum | cut -d ' ' -f 1)
prefix=$root/prefix

fail() {
  echo "$1" >&2
  exit 1
}

install() {
  remove
  "$CMAKE" --install "$BUILD" --prefix "$root/before" >"$root.log" || fail "$(cat "$root.log")"
  mv "$root/before" "$prefix"
}

remove() { rm -rf "$root" "$root.log"; }

# The library needs none of the packages that the rest of the tree takes.
without_packages=$(printf ' -DCMAKE_DISABLE_FIND_PACKAGE_%s=ON' PkgConfig GTest fmt CLI11 benchmark)

configure() { # folder source argument...
  folder=$1 source=$2
  shift 2
  "$CMAKE" -G Ninja -S "$source" -B "$root/$folder" -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
    -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DEXAMPLES="$SOURCE/examples" "$@"
}

consume() { # folder argument...
  folder=$1
  shift
  configure "$folder" "$SOURCE/tests/package/consumer" "$@"
  "$CMAKE" --build "$root/$folder" --target consumer
  run "$root/$folder/consumer"
}

run() {
  "$1" specialized >"$1.out"
  grep -q '^kernels: svxl' "$1.out" || fail "no specialised library found: $(cat "$1.out")"
  grep -q '^code >= 9: 10 rows' "$1.out" || fail "wrong answer: $(cat "$1.out")"
}

find_package() {
  consume "$1" -DWAY=find_package -DLIBRARY="vorn::$1" -DCMAKE_PREFIX_PATH="$prefix" -DCOMPONENTS="$1;host"
  ! "$CMAKE" "$root/$1" -DCOMPONENTS=no_such >"$root/$1.out" 2>&1 || fail "a component is found that does not exist"
  grep -q 'no component "no_such"' "$root/$1.out" || fail "$(cat "$root/$1.out")"
}

pkg_config() {
  PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vorn.pc)")
  export PKG_CONFIG_PATH
  "$CC" -std=c11 -Wall -Wextra -Werror -DSPECIALIZED_DIR="\"$(pkg-config --variable=specializeddir vorn)\"" \
    "$SOURCE/examples/first_scan.c" "$SOURCE/examples/minimal_host.c" \
    $(pkg-config --cflags --libs vorn) -rdynamic -ldl -o "$root/plain"
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir vorn) run "$root/plain"
}

# Two hosts, of a program outside the prefix: the one of the examples, and the stand-in host.
levels() {
  cp -a "$prefix" "$root/levels"
  prefix=$root/levels
  PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vorn.pc)")
  export PKG_CONFIG_PATH
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir vorn)
  export LD_LIBRARY_PATH
  mkdir "$root/hosts"
  "$CC" -std=c11 -DSPECIALIZED_DIR="\"$(pkg-config --variable=specializeddir vorn)\"" "$SOURCE/examples/first_scan.c" \
    "$SOURCE/examples/minimal_host.c" $(pkg-config --cflags --libs vorn) -rdynamic -ldl -o "$root/hosts/minimal"
  "$CXX" -std=c++20 "$SOURCE/tests/package/stand_in.cpp" $(pkg-config --cflags --libs vorn) -lvornhost -o "$root/hosts/stand_in"
  loaded=
  while [ "${library:-}" != generic ]; do
    "$root/hosts/minimal" specialized >"$root/hosts/out" 2>"$root/hosts/minimal.messages" || fail "$(cat "$root/hosts/"*messages)"
    library=$(sed -n 's/^kernels: //p' "$root/hosts/out")
    [ "$("$root/hosts/stand_in" 2>"$root/hosts/stand_in.messages")" = "kernels: $library" ] ||
      fail "the hosts differ at $library: $(cat "$root/hosts/"*messages)"
    [ -z "$loaded" ] || [ "$(cat "$root"/hosts/*messages | grep -c '\.so is ')" -eq 2 ] || fail "a missing library is not reported once"
    loaded="$loaded $library"
    rm -f "$(pkg-config --variable=specializeddir vorn)/$library.so"
  done
  case " svxlavx51219 svxlavx219 svxlavx19 svxlsse4219 generic" in
    *"$loaded") ;;
    *) fail "not one level after the other:$loaded" ;;
  esac
}

# Nothing but the library is built in this folder.
check_alone() {
  "$CMAKE" --build "$root/$1" --target help >"$root/$1/targets"
  grep -q vorn_static "$root/$1/targets" || fail "the library is not among the targets"
  ! grep -E 'vornhost|vornq|_tests|_bench' "$root/$1/targets" || fail "more than the library is built"
}

# To save time the project builds one specialised library, the one that an example of this tree takes on this processor, and
# builds it without optimisation after the flags have been read.
add_subdirectory() {
  library=$("$BUILD/bin/first_scan" specialized | sed -n 's/^kernels: //p')
  part() {
    "$@" -DVORN_SPECIALIZED="$library" -DWAY=add_subdirectory -DLIBRARY=vorn::vorn_static -DVORN_SOURCE="$SOURCE" \
      $without_packages
  }
  part configure part "$SOURCE/tests/package/consumer"
  ! grep -e -Werror "$root/part/compile_commands.json" || fail "warnings are errors in the project of another"
  # Neither project names a build type.  The kernels are optimised all the same, and nothing of the other project is.
  optimised() { grep "\"command\".*$1" "$root/part/compile_commands.json" | grep -q -e ' -O3 '; }
  optimised scan/dict_compare || fail "the kernels are not optimised"
  ! optimised first_scan || fail "the project of another is built with a type that it did not choose"
  part consume part -DCMAKE_CXX_FLAGS_RELEASE=-O0
  check_alone part
  "$CMAKE" --install "$root/part" --prefix "$root/nothing"
  [ ! -e "$root/nothing" ] || fail "the project of another installs $(find "$root/nothing")"
}

fetch_content() { consume part -DWAY=FetchContent -DLIBRARY=vorn::vorn -DVORN_SOURCE="$SOURCE" $without_packages; }

alone() {
  configure alone "$SOURCE" -DVORN_BUILD_HOST=OFF $without_packages
  check_alone alone
  # By default a generator with several build types builds Release too.
  "$CMAKE" -G "Ninja Multi-Config" -S "$SOURCE" -B "$root/types" -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
    -DVORN_BUILD_HOST=OFF
  ninja -C "$root/types" -t commands vorn | grep -q -e ' -O3 ' || fail "the default build type is not Release"
}

document() {
  LIBRARIES=$(dirname "$(find "$prefix" -name libvorn.so)") sh "$SOURCE/tests/package/document_test.sh" "$SOURCE/docs/$1.md"
}

check_store() { # program
  LD_LIBRARY_PATH=$(dirname "$(find "$prefix" -name libvornstore.so)") "$1" >"$root/answer" || fail "$(cat "$root/answer")"
  grep -q '^rows 1 6 7, bits c2$' "$root/answer" || fail "$(cat "$root/answer")"
  ! ldd "$1" | grep -i duckdb || fail "the store needs DuckDB"
}

store() {
  configure store "$SOURCE/tests/package/store_consumer" -DCMAKE_PREFIX_PATH="$prefix"
  "$CMAKE" --build "$root/store"
  check_store "$root/store/store_consumer"
  PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vornstore.pc)")
  export PKG_CONFIG_PATH
  "$CXX" -std=c++20 -Wall -Wextra -Werror "$SOURCE/examples/arrow_scan.cpp" $(pkg-config --cflags --libs vornstore) \
    -o "$root/plain_store"
  check_store "$root/plain_store"
}

vornq() {
  printf 'city,late\nAtlanta,75\nParis,3\nChicago,60\n' >"$root/flights.csv"
  "$prefix/bin/vornq" "$root/flights.csv" 'select city from flights where late >= 60' --isa sse42 >"$root/answer" ||
    fail "$(cat "$root/answer")"
  grep -q Chicago "$root/answer" || fail "$(cat "$root/answer")"
}

dpkg_in_root() {
  dpkg --root="$system" --log=/dev/null --force-not-root,depends,script-chrootless "$@" >"$root.log" 2>&1 ||
    fail "$(cat "$root.log")"
}

dpkg_query() { dpkg-query --admindir="$system/var/lib/dpkg" --show --showformat="$@"; } # format [package]

# Debian compresses manual pages and has folders of its own for documents.
contents() {
  (cd "$1" && find . ! -type d ! -path './share/doc/*' ! -path './share/lintian/*') | sed 's/\.1\.gz$/.1/' | sort
}

debian() {
  (cd "$BUILD" && "$(dirname "$CMAKE")/cpack" -B "$root/debian") >"$root.log" 2>&1 || fail "$(cat "$root.log")"
  lintian --allow-root --fail-on error,warning "$root"/debian/*.deb >"$root.log" 2>&1 || fail "$(cat "$root.log")"
  system=$root/system
  mkdir -p "$system/var/lib/dpkg/info" "$system/var/lib/dpkg/updates"
  touch "$system/var/lib/dpkg/status"
  dpkg_in_root --install "$root"/debian/*.deb
  # An install() without a COMPONENT is in no package.
  contents "$prefix" >"$root/installed"
  contents "$system/usr" | diff "$root/installed" - || fail "the packages do not have what is installed without them"
  for name in $(dpkg_query '${Package} '); do
    for file in copyright changelog.gz changelog.Debian.gz; do
      [ -s "$system/usr/share/doc/$name/$file" ] || fail "$name has no $file"
    done
  done
  version=$(ls "$root/debian" | sed -n 's/^libvorn\([0-9.]*\)_.*/\1/p')
  for needs in "libvorn-dev libvorn$version (= " "libvorn$version libc6 (>= " "vornq libvornhost$version (= " \
    'vornq libstdc++6 (>= '; do
    dpkg_query '${Depends}' "${needs%% *}" | grep -Fq "${needs#* }" || fail "not said: $needs"
  done
  prefix=$system/usr
  root=$root/with_packages
  mkdir "$root"
  find_package vorn
  pkg_config
  store
  vornq
  dpkg_in_root --purge $(dpkg_query '${Package} ')
  [ ! -e "$system/usr" ] || fail "removed packages leave $(find "$system/usr")"
}

"$@"
